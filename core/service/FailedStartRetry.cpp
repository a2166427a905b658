#include "core/service/FailedStartRetry.h"

#include <algorithm>

namespace velquor {

void FailedStartRetry::statusSeen(ServiceStatus status, Clock::time_point at,
                                  std::chrono::milliseconds interval) {
    if (status != ServiceStatus::failed) {
        *this = FailedStartRetry();
    } else if (!m_dueAt) {
        m_dueAt = at + std::min(m_delay, interval);
    }
}

std::optional<std::string> FailedStartRetry::takeDue(Clock::time_point now,
                                                     std::chrono::milliseconds interval) {
    if (!m_dueAt || now < *m_dueAt) {
        return std::nullopt;
    }
    m_dueAt.reset();
    ++m_attempt;
    // The interval is at most about 2^31 ms, so doubling what it capped cannot overflow.
    m_delay = std::min(std::min(m_delay, interval) * 2, interval);
    return "Retrying start after failure (attempt " + std::to_string(m_attempt) +
           "); next retry in " +
           std::to_string(std::chrono::duration_cast<std::chrono::seconds>(m_delay).count()) + " s";
}

} // namespace velquor
