#pragma once

#include "core/forwarding/ProcessTerminating.h"

namespace velquor {

// One SIGTERM, followed by SIGCONT for a stopped process; no waiting and no SIGKILL: socat ends
// its relays cleanly on SIGTERM.
class PosixProcessTerminator : public ProcessTerminating {
public:
    // Throws std::system_error "terminating process <pid>"; EINVAL for an identifier of 0 or
    // less, which kill() would read as a whole process group or every process.
    void terminate(std::int32_t processIdentifier) override;
};

} // namespace velquor
