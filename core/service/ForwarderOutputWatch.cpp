#include "core/service/ForwarderOutputWatch.h"

namespace velquor {

ForwarderOutputWatch::ForwarderOutputWatch(int descriptor, StandardErrorLog relay)
    : m_descriptor(descriptor), m_reader(descriptor), m_relay(relay) {}

void ForwarderOutputWatch::read(Clock::time_point now) {
    for (const auto& line : m_reader.read()) {
        m_relay.relay(line, SocatMessage::journalPriority(line));
        if (const auto failure = SocatMessage::connectFailure(line)) {
            m_checks.failed(*failure, now);
        }
    }
}

} // namespace velquor
