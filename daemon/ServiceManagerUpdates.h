#pragma once

#include "daemon/ServiceManagerNotifying.h"

#include <chrono>
#include <optional>
#include <string>

namespace velquor {

// What the service loop tells its service manager: ready once the first start was tried, a
// status line whenever it changes, the span of a reload, the stop, and a watchdog ping at half
// the manager's timeout, so that a loop that hangs is restarted.
class ServiceManagerUpdates {
public:
    using SteadyClock = std::chrono::steady_clock;

    // A timeout so short that half of it would keep the loop busy is pinged at this rate.
    static constexpr std::chrono::milliseconds shortestPingInterval{100};
    // A timeout of days needs no more than daily pings; a longer wait would overflow the clock.
    static constexpr std::chrono::hours longestPingInterval{24};

    ServiceManagerUpdates(ServiceManagerNotifying& manager, SteadyClock::time_point now);

    void ready();
    // Sent only when it differs from the last one sent.
    void status(const std::string& line);
    // READY=1 ends it.
    void reloading();
    void stopping();

    // When the next ping is due; nothing when the manager does not watch.
    std::optional<SteadyClock::time_point> watchdogDueAt() const noexcept { return m_pingDueAt; }
    void pingIfDue(SteadyClock::time_point now);

private:
    ServiceManagerNotifying& m_manager;
    std::string m_status;
    std::chrono::milliseconds m_pingInterval{};
    std::optional<SteadyClock::time_point> m_pingDueAt;
};

} // namespace velquor
