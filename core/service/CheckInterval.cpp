#include "core/service/CheckInterval.h"

namespace velquor {

std::chrono::milliseconds CheckInterval::waitFor(std::int64_t configuredSeconds) noexcept {
    // Compared in seconds first: multiplying a large count by 1000 is what overflowed.
    const auto longestSeconds = std::chrono::duration_cast<std::chrono::seconds>(longest).count();
    if (configuredSeconds >= longestSeconds) {
        return longest;
    }
    if (configuredSeconds <= shortest.count()) {
        return shortest;
    }
    return std::chrono::seconds(configuredSeconds);
}

} // namespace velquor
