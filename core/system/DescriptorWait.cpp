#include "core/system/DescriptorWait.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <system_error>

namespace velquor {

std::vector<bool> DescriptorWait::until(std::span<const int> descriptors,
                                        std::optional<Clock::time_point> deadline) {
    std::vector<pollfd> entries;
    for (const int descriptor : descriptors) {
        entries.push_back({descriptor, POLLIN, 0});
    }
    timespec timeout{};
    if (deadline) {
        const auto left = std::max(*deadline - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timeout.tv_sec = static_cast<time_t>(seconds.count());
        timeout.tv_nsec = static_cast<long>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(left - seconds).count());
    }
    const int ready =
        ::ppoll(entries.data(), entries.size(), deadline ? &timeout : nullptr, nullptr);
    if (ready < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "waiting for events");
    }
    std::vector<bool> readable;
    for (const auto& entry : entries) {
        // A hang-up or error counts: reading it tells the owner what happened.
        readable.push_back(ready > 0 && (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0);
    }
    return readable;
}

} // namespace velquor
