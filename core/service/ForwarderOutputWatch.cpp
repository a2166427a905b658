#include "core/service/ForwarderOutputWatch.h"

#include <utility>

namespace velquor {

ForwarderOutputWatch::ForwarderOutputWatch(int descriptor, StandardErrorLog relay)
    : m_descriptor(descriptor), m_reader(descriptor), m_relay(std::move(relay)) {}

void ForwarderOutputWatch::read(Clock::time_point now) noexcept {
    try {
        for (const auto& line : m_reader.read()) {
            m_relay.relay(line, SocatMessage::journalPriority(line));
            if (const auto failure = SocatMessage::connectFailure(line)) {
                m_checks.failed(*failure, now);
            }
        }
    } catch (const std::exception& error) {
        m_gaveUp = true;
        m_gaveUpLine =
            std::string("WARNING: Forwarded connections no longer watched: ") + error.what();
    }
}

std::optional<ForwarderOutputWatch::Clock::time_point> ForwarderOutputWatch::dueAt() const {
    return m_gaveUpLine ? Clock::time_point::min() : m_checks.dueAt();
}

PassiveChecks::Due ForwarderOutputWatch::takeDue(Clock::time_point now) {
    auto due = m_checks.takeDue(now);
    if (m_gaveUpLine) {
        due.lines.insert(due.lines.begin(), *std::exchange(m_gaveUpLine, std::nullopt));
    }
    return due;
}

} // namespace velquor
