#include "core/config/TargetEndpoint.h"

#include "core/config/JsonFields.h"
#include "core/text/Whitespace.h"

namespace velquor {

TargetEndpoint::ValidationError::ValidationError(Kind kind, std::int64_t port, std::string text)
    : Error(std::move(text)), m_kind(kind), m_port(port) {}

TargetEndpoint::ValidationError TargetEndpoint::ValidationError::emptyHost() {
    return {Kind::emptyHost, 0, "emptyHost"};
}

TargetEndpoint::ValidationError TargetEndpoint::ValidationError::invalidPort(std::int64_t port) {
    return {Kind::invalidPort, port, "invalidPort(" + std::to_string(port) + ")"};
}

TargetEndpoint::TargetEndpoint(std::string host, std::int64_t port)
    : m_host(trimWhitespace(host)), m_port(port) {
    if (m_host.empty()) {
        throw ValidationError::emptyHost();
    }
    if (port < 1 || port > 65535) {
        throw ValidationError::invalidPort(port);
    }
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
