#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace velquor {

// Notices that the machine slept: CLOCK_BOOTTIME counts the time spent suspended and
// CLOCK_MONOTONIC does not, so their difference grows by the length of each sleep.
class ResumeDetector {
public:
    struct ClockPair {
        std::chrono::nanoseconds boottime;
        std::chrono::nanoseconds monotonic;
    };
    using ClockReader = std::function<ClockPair()>;

    // Shorter gaps are clock noise or a paused virtual machine, not worth a check.
    static constexpr std::chrono::seconds minimumSleep{2};

    explicit ResumeDetector(ClockReader readClocks = readSystemClocks);

    // How long the machine slept since the previous look (or construction), when that was
    // more than minimumSleep; each sleep is reported once, shorter ones never.
    std::optional<std::chrono::nanoseconds> sleptSinceLastLook();

    static ClockPair readSystemClocks();

private:
    std::chrono::nanoseconds suspendedTotal() const;

    ClockReader m_readClocks;
    std::chrono::nanoseconds m_suspendedBefore;
};

} // namespace velquor
