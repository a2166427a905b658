#pragma once

#include <chrono>
#include <cstdint>

namespace velquor {

// The wait between two periodic health checks, taken from the configuration file, where any
// 64-bit number may stand. It is clamped here, once, before it reaches a timer: never under
// five seconds (so a check cannot flood discovery), never longer than the longest wait both of
// our timers can hold (Qt's takes an int of milliseconds, about 24.8 days), and computed
// without overflow, so a huge value waits that longest time instead of wrapping into a short one.
class CheckInterval {
public:
    static constexpr std::chrono::seconds shortest{5};
    static constexpr std::chrono::milliseconds longest{2'147'483'647};

    static std::chrono::milliseconds waitFor(std::int64_t configuredSeconds) noexcept;
};

} // namespace velquor
