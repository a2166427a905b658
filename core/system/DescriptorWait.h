#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <vector>

namespace velquor {

// The one blocking wait of qarvexd's main loop: until one of the descriptors is readable or
// the deadline passes, on the monotonic clock. A negative descriptor stands for an absent
// source (no forwarder to watch) and is never readable.
class DescriptorWait {
public:
    using Clock = std::chrono::steady_clock;

    // Readable or not, in the order given; all false when the deadline passed. Without a
    // deadline it waits as long as it takes. A signal that interrupts the wait ends it with
    // nothing readable. Throws std::system_error.
    static std::vector<bool> until(std::span<const int> descriptors,
                                   std::optional<Clock::time_point> deadline);
};

} // namespace velquor
