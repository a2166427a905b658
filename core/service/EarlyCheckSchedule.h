#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace velquor {

// When to run a health check before its interval because the machine resumed or the network
// changed. The network needs a moment after such an event (DHCP, Wi-Fi, VPN routes), and events
// come in bursts, so the check waits until settleDelay has passed without another event, but no
// longer than longestWait after the first one. When that check could not reach discovery, one
// more follows after retryDelay.
class EarlyCheckSchedule {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds settleDelay{2};
    static constexpr std::chrono::seconds longestWait{10};
    static constexpr std::chrono::seconds retryDelay{5};

    void resumed(Clock::time_point at);
    void networkChanged(Clock::time_point at);

    // When the early check is due; nothing when none is pending.
    std::optional<Clock::time_point> dueAt() const;

    // When due at `now`: the line to log before running the check, e.g. "Health check early:
    // resumed from suspend; network changed"; the check is then taken off the schedule.
    std::optional<std::string> takeDue(Clock::time_point now);

    // After the early check: one retry when it could not reach discovery, none after a retry.
    void checkFinished(bool discoveryReached, Clock::time_point at);

private:
    void note(bool& reason, Clock::time_point at);

    std::optional<Clock::time_point> m_firstEventAt;
    std::optional<Clock::time_point> m_lastEventAt;
    std::optional<Clock::time_point> m_retryAt;
    bool m_resumed = false;
    bool m_networkChanged = false;
    bool m_tookFirst = false;
};

} // namespace velquor
