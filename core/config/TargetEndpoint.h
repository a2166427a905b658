#pragma once

#include "core/Error.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace velquor {

// The remote iSCSI target: a trimmed, non-empty host and a port from 1 to 65535.
class TargetEndpoint {
public:
    class ValidationError : public Error {
    public:
        enum class Kind { emptyHost, invalidPort };

        static ValidationError emptyHost();
        static ValidationError invalidPort(std::int64_t port);

        Kind kind() const noexcept { return m_kind; }
        std::int64_t port() const noexcept { return m_port; }
        bool operator==(const ValidationError& other) const noexcept {
            return m_kind == other.m_kind && m_port == other.m_port;
        }

    private:
        ValidationError(Kind kind, std::int64_t port, std::string text);
        Kind m_kind;
        std::int64_t m_port;
    };

    // Throws ValidationError.
    TargetEndpoint(std::string host, std::int64_t port);

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
