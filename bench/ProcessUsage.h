#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velquor::bench {

// What the kernel says one process uses, from /proc/<pid>.
class ProcessUsage {
public:
    struct Memory {
        std::int64_t residentKib = 0;     // VmRSS
        std::int64_t anonymousKib = 0;    // RssAnon: the process's own data
        std::int64_t fileKib = 0;         // RssFile: program and libraries, shareable
        std::int64_t proportionalKib = 0; // Pss: shared pages split among their users
        std::int64_t peakKib = 0;         // VmHWM
    };

    struct Cpu {
        double ownSeconds = 0;            // utime + stime of all its threads, in clock ticks
        double waitedChildrenSeconds = 0; // cutime + cstime: children it reaped
        // The scheduler's nanosecond count summed over its live threads, finer than a tick.
        double scheduledSeconds = 0;
    };

    // Throw std::runtime_error when the process is gone.
    static Memory memory(std::int32_t pid);
    static Cpu cpu(std::int32_t pid);
    // Resident size per mapped file (anonymous mappings as "[anonymous]"), largest first.
    static std::vector<std::pair<std::string, std::int64_t>> residentByMapping(std::int32_t pid);
};

} // namespace velquor::bench
