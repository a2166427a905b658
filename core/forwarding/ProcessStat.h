#pragma once

#include <cstdint>
#include <optional>

namespace velquor {

// What /proc/PID/stat tells of a process.
struct ProcessStat {
    char state = 0;
    std::uint64_t startTime = 0; // clock ticks after boot, as the kernel counts them

    // Stopped by a signal (T) or held by a tracer (t): it keeps its sockets, and the kernel
    // still accepts connections for it, but it serves nobody.
    bool isStopped() const noexcept { return state == 'T' || state == 't'; }

    // Nothing when the process is gone or the file cannot be read.
    static std::optional<ProcessStat> read(std::int32_t processIdentifier);
};

} // namespace velquor
