#pragma once

#include "core/files/BoundedLineReader.h"
#include "core/logging/StandardErrorLog.h"
#include "core/service/PassiveChecks.h"

#include <optional>
#include <string>

namespace velquor {

// What socat writes to standard error, read from an event loop (ppoll in qarvexd, a
// QSocketNotifier in qarvex) whenever the pipe is readable: every line goes on to our own
// standard error as it stands, and the connections it failed to make become early checks and
// warnings.
class ForwarderOutputWatch {
public:
    using Clock = PassiveChecks::Clock;

    // The descriptor stays the caller's; lines are relayed to relay.
    explicit ForwarderOutputWatch(int descriptor, StandardErrorLog relay = StandardErrorLog());

    // The descriptor to wait for; -1 once the pipe failed or every writer is gone, when there
    // is nothing to wait for (writers never all go while ForwarderErrorPipe keeps its write
    // end, so that a pipe without socat does not wake a loop for ever with its end).
    int descriptor() const noexcept { return m_reader.ended() || m_gaveUp ? -1 : m_descriptor; }

    // Takes what is there without blocking. A pipe that fails is given up, with a WARNING line
    // among the next lines due: the interval is left.
    void read(Clock::time_point now) noexcept;

    std::optional<Clock::time_point> dueAt() const;
    PassiveChecks::Due takeDue(Clock::time_point now);
    void checked(Clock::time_point at) { m_checks.checked(at); }

private:
    int m_descriptor;
    BoundedLineReader m_reader;
    StandardErrorLog m_relay;
    PassiveChecks m_checks;
    bool m_gaveUp = false;
    std::optional<std::string> m_gaveUpLine;
};

} // namespace velquor
