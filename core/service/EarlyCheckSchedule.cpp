#include "core/service/EarlyCheckSchedule.h"

#include <algorithm>

namespace velquor {

void EarlyCheckSchedule::resumed(Clock::time_point at) {
    note(m_resumed, at);
}

void EarlyCheckSchedule::networkChanged(Clock::time_point at) {
    note(m_networkChanged, at);
}

void EarlyCheckSchedule::note(bool& reason, Clock::time_point at) {
    reason = true;
    // A new event starts a new round, with its own retry.
    m_retryAt.reset();
    m_tookFirst = false;
    if (!m_firstEventAt) {
        m_firstEventAt = at;
    }
    m_lastEventAt = at;
}

std::optional<EarlyCheckSchedule::Clock::time_point> EarlyCheckSchedule::dueAt() const {
    if (m_firstEventAt) {
        return std::min(*m_lastEventAt + settleDelay, *m_firstEventAt + longestWait);
    }
    return m_retryAt;
}

std::optional<std::string> EarlyCheckSchedule::takeDue(Clock::time_point now) {
    const auto due = dueAt();
    if (!due || now < *due) {
        return std::nullopt;
    }
    if (!m_firstEventAt) {
        m_retryAt.reset();
        return "Health check early again: discovery was unreachable at the previous check";
    }
    std::string line = "Health check early:";
    if (m_resumed) {
        line += " resumed from suspend";
    }
    if (m_networkChanged) {
        line += m_resumed ? "; network changed" : " network changed";
    }
    m_firstEventAt.reset();
    m_lastEventAt.reset();
    m_resumed = m_networkChanged = false;
    m_tookFirst = true;
    return line;
}

void EarlyCheckSchedule::checkFinished(bool discoveryReached, Clock::time_point at) {
    // An event that arrived during the check has scheduled a round of its own.
    if (m_firstEventAt) {
        return;
    }
    if (m_tookFirst && !discoveryReached) {
        m_retryAt = at + retryDelay;
    }
    m_tookFirst = false;
}

} // namespace velquor
