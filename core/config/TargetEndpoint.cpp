#include "core/config/TargetEndpoint.h"

#include "core/config/JsonFields.h"
#include "core/net/PlainHost.h"
#include "core/text/QuotedText.h"
#include "core/text/Whitespace.h"

namespace velquor {

TargetEndpoint::ValidationError::ValidationError(Kind kind, std::string host, std::int64_t port,
                                                 std::string text)
    : Error(std::move(text)), m_kind(kind), m_host(std::move(host)), m_port(port) {}

TargetEndpoint::ValidationError TargetEndpoint::ValidationError::emptyHost() {
    return {Kind::emptyHost, {}, 0, "emptyHost"};
}

TargetEndpoint::ValidationError TargetEndpoint::ValidationError::invalidHost(std::string host) {
    auto text = "invalidHost(" + quotedText(host) + ")";
    return {Kind::invalidHost, std::move(host), 0, std::move(text)};
}

TargetEndpoint::ValidationError TargetEndpoint::ValidationError::invalidPort(std::int64_t port) {
    return {Kind::invalidPort, {}, port, "invalidPort(" + std::to_string(port) + ")"};
}

TargetEndpoint::TargetEndpoint(std::string host, std::int64_t port)
    : m_host(trimWhitespace(host)), m_port(port) {
    (void)validated();
}

TargetEndpoint TargetEndpoint::validated() const {
    if (m_host.empty()) {
        throw ValidationError::emptyHost();
    }
    if (m_port < 1 || m_port > 65535) {
        throw ValidationError::invalidPort(m_port);
    }
    if (!isPlainHost(m_host)) {
        throw ValidationError::invalidHost(m_host);
    }
    return *this;
}

TargetEndpoint::TargetEndpoint(Unchecked, std::string host, std::int64_t port)
    : m_host(std::move(host)), m_port(port) {}

std::string TargetEndpoint::text() const {
    return m_host + ":" + std::to_string(m_port);
}

TargetEndpoint TargetEndpoint::fromJson(const nlohmann::json& json) {
    return {Unchecked{}, json::requireString(json, "host"), json::requireInteger(json, "port")};
}

nlohmann::json TargetEndpoint::toJson() const {
    return {{"host", m_host}, {"port", m_port}};
}

} // namespace velquor
