#pragma once

#include "core/Error.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace velquor {

// The remote iSCSI target: a trimmed, plain host (core/net/PlainHost.h) and a port from 1 to
// 65535.
class TargetEndpoint {
public:
    class ValidationError : public Error {
    public:
        enum class Kind { emptyHost, invalidHost, invalidPort };

        static ValidationError emptyHost();
        // A host socat would read as more than a host; its text form is invalidHost("a,b").
        static ValidationError invalidHost(std::string host);
        static ValidationError invalidPort(std::int64_t port);

        Kind kind() const noexcept { return m_kind; }
        const std::string& host() const noexcept { return m_host; }
        std::int64_t port() const noexcept { return m_port; }
        bool operator==(const ValidationError& other) const noexcept {
            return m_kind == other.m_kind && m_host == other.m_host && m_port == other.m_port;
        }

    private:
        ValidationError(Kind kind, std::string host, std::int64_t port, std::string text);
        Kind m_kind;
        std::string m_host;
        std::int64_t m_port;
    };

    // Trims the host, then refuses an empty host (emptyHost), a port outside 1..65535
    // (invalidPort) and last a host socat would misread (invalidHost).
    TargetEndpoint(std::string host, std::int64_t port);

    // The same checks for a decoded target, which is taken as it stands: an unchanged copy, or
    // the first error. A cached target that fails them is never used.
    TargetEndpoint validated() const;

    const std::string& host() const noexcept { return m_host; }
    std::int64_t port() const noexcept { return m_port; }

    // "host:port", the form of every log line and display.
    std::string text() const;

    bool operator==(const TargetEndpoint&) const = default;

    // Decoding does not validate: a stored target is taken as it stands.
    static TargetEndpoint fromJson(const nlohmann::json& json);
    nlohmann::json toJson() const;

private:
    struct Unchecked {};
    TargetEndpoint(Unchecked, std::string host, std::int64_t port);

    std::string m_host;
    std::int64_t m_port;
};

} // namespace velquor
