#pragma once

#include "core/files/FileDescriptor.h"

#include <cstdint>
#include <string>

namespace velquor {

// A descriptor that becomes readable when a child exits, so that an event loop (a
// QSocketNotifier in qarvex, ppoll in qarvexd) learns of a dead forwarder at once instead of at
// the next health check, without a thread blocked per child. Reaping stays with the child's
// owner; the descriptor stays readable until the watch is destroyed.
class ProcessExitWatch {
public:
    // Open it before anyone waits for the child: an unreaped child keeps its pid, so the
    // descriptor cannot refer to another process. Throws std::system_error.
    explicit ProcessExitWatch(std::int32_t processIdentifier);

    int descriptor() const noexcept { return m_descriptor.get(); }
    std::int32_t processIdentifier() const noexcept { return m_processIdentifier; }

    // Without waiting; a child that exited but was not reaped yet counts as exited.
    bool hasExited() const;

    // The line that announces the early check after the exit, naming how the child ended when
    // it can still be told (it is read without reaping, so only before its owner reaps it):
    // "Health check early: forwarder exited [PID=4242] with status 1", "… by signal KILL", or
    // without either for a process that is not our child.
    std::string exitLine() const;
    // The same line for a forwarder whose exit was seen some other way, with nothing to tell.
    static std::string exitLine(std::int32_t processIdentifier);

private:
    std::int32_t m_processIdentifier;
    FileDescriptor m_descriptor;
};

} // namespace velquor
