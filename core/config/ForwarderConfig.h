#pragma once

#include "core/Error.h"
#include "core/config/TargetEndpoint.h"
#include "core/net/Url.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// The one persisted settings record. Listen ports are valid from 1024 to 65535;
// recentListenPorts holds only valid ports, no repeats, at most 8, current port last. Hosts are
// kept as written; SocatCommand refuses those socat would misread.
struct ForwarderConfig {
    class ValidationError : public Error {
    public:
        enum class Kind { invalidListenPort, invalidListenHost };

        static ValidationError invalidListenPort(std::int64_t port);
        // A listen host socat would read as more than a host, refused when a command is built:
        // invalidListenHost("127.0.0.1,fork").
        static ValidationError invalidListenHost(std::string host);

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

    static constexpr const char* defaultListenHost = "127.0.0.1";
    static constexpr std::int64_t defaultListenPort = 18082;
    static constexpr std::int64_t defaultCheckIntervalSeconds = 60;
    static constexpr std::int64_t defaultFailureThreshold = 3;
    static constexpr bool defaultAutoStart = false;
    static constexpr std::int64_t defaultLogRetentionDays = 1;
    static constexpr std::size_t recentListenPortLimit = 8;
    static const Url& defaultDiscoveryURL();
    static const ForwarderConfig& defaults();

    std::string listenHost;
    std::int64_t listenPort;
    Url discoveryURL;
    std::int64_t checkIntervalSeconds;
    std::int64_t failureThreshold;
    bool autoStart;
    std::int64_t logRetentionDays;
    std::optional<TargetEndpoint> target;
    std::vector<std::int64_t> recentListenPorts;
    // Whether warnings, recoveries, failed starts and target moves reach the desktop. Files
    // written before the switch existed have no key and read as on.
    bool desktopNotifications = true;

    // Validates the listen port, then each recent port in order; normalises the port history.
    ForwarderConfig(std::string listenHost, std::int64_t listenPort, Url discoveryURL,
                    std::int64_t checkIntervalSeconds, std::int64_t failureThreshold,
                    bool autoStart, std::int64_t logRetentionDays,
                    std::optional<TargetEndpoint> target,
                    std::vector<std::int64_t> recentListenPorts);

    static bool isValidListenPort(std::int64_t port) noexcept;
    static void validateListenPort(std::int64_t port);

    // An unchanged copy, or invalidListenPort for the listen port, then for the first invalid
    // entry of the history. Nothing else is checked.
    ForwarderConfig validated() const;

    // This draft's own changes from `basis`, laid over `current`: a field the draft left as it
    // was in `basis` takes its value from `current`, so what changed elsewhere meanwhile (a hand
    // edit of the file) stays beside what the draft changed.
    ForwarderConfig rebased(const ForwarderConfig& basis, const ForwarderConfig& current) const;

    // All-or-nothing: an invalid port among the given ones changes nothing.
    void recordListenPorts(const std::vector<std::int64_t>& ports);

    // Earlier ports a user interface can offer, oldest first.
    std::vector<std::int64_t> historicalListenPorts() const;

    bool operator==(const ForwarderConfig&) const = default;

    // Throws nlohmann::json::exception on a missing key, a wrong type or a discoveryURL that
    // is not an absolute URL. Ports are not validated here; the history is normalised.
    static ForwarderConfig fromJson(const nlohmann::json& json);
    nlohmann::json toJson() const;

private:
    ForwarderConfig() = default;
};

} // namespace velquor
