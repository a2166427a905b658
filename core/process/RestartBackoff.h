#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// How long to wait before the health check that follows an unexpected exit of the forwarder:
// at once the first time, then 0.2 s, 1 s, 5 s and from then on the check interval, so a
// forwarder that dies as soon as it starts (a target that refuses it, a broken socat) is not
// restarted in a tight loop. A forwarder that stayed up for stableAfter starts the count anew.
class RestartBackoff {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds steps[] = {
        std::chrono::milliseconds(0), std::chrono::milliseconds(200),
        std::chrono::milliseconds(1000), std::chrono::milliseconds(5000)};
    static constexpr std::chrono::seconds stableAfter{30};

    struct Decision {
        std::chrono::milliseconds delay;
        // Given only when the delay grew beyond the first step, e.g. "Forwarder exited
        // unexpectedly 3 times in a row; next check in 1 s"; at most one line per step.
        std::optional<std::string> logLine;

        bool operator==(const Decision&) const = default;

        // What both programs log for the exit, in order: the exit's own line (when there is
        // one) if the check comes at once, then the back-off's line.
        std::vector<std::string> lines(const std::string& exitLine) const;
    };

    // A forwarder of ours is running as `pid`. Seeing the same one again (after every check)
    // keeps the time it started: its uptime runs from its launch, not from the last look.
    void started(std::int32_t pid, Clock::time_point at) noexcept;

    // It exited without being asked to; the health check is to run after the delay. Nothing
    // when this exit was counted already: one exit, however often it is seen, counts once.
    std::optional<Decision> exited(std::int32_t pid, Clock::time_point at,
                                   std::chrono::milliseconds checkInterval);

    // A user's stop or start: whatever happened before does not count.
    void reset() noexcept;

    std::int64_t exitsInARow() const noexcept { return m_exits; }
    // Whether the exit of `pid` is the one counted last.
    bool hasCounted(std::int32_t pid) const noexcept { return m_countedExit == pid; }

private:
    std::int64_t m_exits = 0;
    std::optional<std::int32_t> m_pid;
    std::optional<Clock::time_point> m_startedAt;
    std::optional<std::int32_t> m_countedExit;
};

} // namespace velquor
