#include "core/process/RestartBackoff.h"

#include <algorithm>
#include <iterator>

namespace velquor {
namespace {

// "0.2 s", "1 s", "60 s".
std::string secondsText(std::chrono::milliseconds delay) {
    const auto tenths = delay.count() / 100;
    std::string text = std::to_string(tenths / 10);
    if (tenths % 10 != 0) {
        text += "." + std::to_string(tenths % 10);
    }
    return text + " s";
}

} // namespace

RestartBackoff::Decision RestartBackoff::exited(Clock::time_point at,
                                                std::chrono::seconds checkInterval) {
    if (m_startedAt && at - *m_startedAt >= stableAfter) {
        m_exits = 0;
    }
    m_startedAt.reset();
    ++m_exits;
    const auto stepCount = static_cast<std::int64_t>(std::size(steps));
    const std::chrono::milliseconds interval = checkInterval;
    const auto delay = m_exits <= stepCount ? std::min(steps[m_exits - 1], interval) : interval;
    if (m_exits < 2 || m_exits > stepCount + 1) {
        return {delay, std::nullopt};
    }
    return {delay, "Forwarder exited unexpectedly " + std::to_string(m_exits) +
                       " times in a row; next check in " + secondsText(delay)};
}

void RestartBackoff::reset() noexcept {
    m_exits = 0;
    m_startedAt.reset();
}

} // namespace velquor
