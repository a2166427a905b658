#include "core/service/PassiveChecks.h"

#include <algorithm>

namespace velquor {
namespace {

std::string warningLine(const ConnectFailure& failure, std::int64_t times) {
    const auto count = times > 1 ? " " + std::to_string(times) + " times in the last minute" : "";
    return "WARNING: Forwarded connection to " + failure.address + " failed" + count + ": " +
           failure.reason;
}

} // namespace

void PassiveChecks::failed(const ConnectFailure& failure, Clock::time_point at) {
    if (!m_checkFor) {
        m_checkFor = failure;
        m_checkDue = m_lastCheck ? std::max(at, *m_lastCheck + checkFloor) : at;
    }
    const auto known = std::ranges::find(m_warnings, failure, &Warning::failure);
    if (known != m_warnings.end()) {
        ++known->unreported;
    } else if (m_warnings.size() < warningKinds) {
        m_warnings.push_back({failure, at + warningWindow});
    }
}

void PassiveChecks::checked(Clock::time_point at) {
    m_lastCheck = at;
    if (m_checkFor) {
        m_checkDue = std::max(m_checkDue, at + checkFloor);
    }
}

std::optional<PassiveChecks::Clock::time_point> PassiveChecks::dueAt() const {
    std::optional<Clock::time_point> due;
    if (m_checkFor) {
        due = m_checkDue;
    }
    for (const auto& warning : m_warnings) {
        // One with nothing to tell is forgotten at the next look after its window, unwoken.
        if (warning.announced && warning.unreported == 0) {
            continue;
        }
        const auto at = warning.announced ? warning.windowEnds : warning.windowEnds - warningWindow;
        due = due ? std::min(*due, at) : at;
    }
    return due;
}

PassiveChecks::Due PassiveChecks::takeDue(Clock::time_point now) {
    Due due;
    for (auto& warning : m_warnings) {
        if (!warning.announced) {
            warning.announced = true;
            due.lines.push_back(warningLine(warning.failure, 1));
        } else if (now >= warning.windowEnds && warning.unreported > 0) {
            due.lines.push_back(warningLine(warning.failure, warning.unreported));
            warning.unreported = 0;
            warning.windowEnds = now + warningWindow;
        }
    }
    std::erase_if(m_warnings, [&](const Warning& warning) {
        return now >= warning.windowEnds && warning.unreported == 0;
    });
    if (m_checkFor && now >= m_checkDue) {
        due.lines.push_back("Health check early: connection to " + m_checkFor->address +
                            " failed: " + m_checkFor->reason);
        due.check = true;
        m_checkFor.reset();
        m_lastCheck = now;
    }
    return due;
}

} // namespace velquor
