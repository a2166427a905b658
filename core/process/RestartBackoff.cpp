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

std::vector<std::string> RestartBackoff::Decision::lines(const std::string& exitLine) const {
    std::vector<std::string> result;
    if (delay == delay.zero() && !exitLine.empty()) {
        result.push_back(exitLine);
    }
    if (logLine) {
        result.push_back(*logLine);
    }
    return result;
}

void RestartBackoff::started(std::int32_t pid, Clock::time_point at) noexcept {
    // The one whose exit was counted, shown again by a snapshot taken before it ended, is not
    // a new start. (A new forwarder is never given the pid of the one just gone: pids are
    // handed out in turn.)
    if (m_pid == pid || m_countedExit == pid) {
        return;
    }
    m_pid = pid;
    m_startedAt = at;
}

std::optional<RestartBackoff::Decision>
RestartBackoff::exited(std::int32_t pid, Clock::time_point at,
                       std::chrono::milliseconds checkInterval) {
    if (m_countedExit == pid) {
        return std::nullopt;
    }
    m_countedExit = pid;
    // An exit of a forwarder whose start was never seen has no known uptime: it never counts
    // as a good run.
    if (m_pid == pid && m_startedAt && at - *m_startedAt >= stableAfter) {
        m_exits = 0;
    }
    m_pid.reset();
    m_startedAt.reset();
    ++m_exits;
    const auto stepCount = static_cast<std::int64_t>(std::size(steps));
    const auto delay =
        m_exits <= stepCount ? std::min(steps[m_exits - 1], checkInterval) : checkInterval;
    if (m_exits < 2 || m_exits > stepCount + 1) {
        return Decision{delay, std::nullopt};
    }
    return Decision{delay, "Forwarder exited unexpectedly " + std::to_string(m_exits) +
                               " times in a row; next check in " + secondsText(delay)};
}

void RestartBackoff::reset() noexcept {
    m_exits = 0;
    m_pid.reset();
    m_startedAt.reset();
    m_countedExit.reset();
}

} // namespace velquor
