#pragma once

#include "core/files/FileDescriptor.h"

namespace velquor {

// The one pipe that every socat we start gets as its standard error, with the children it forks
// for each connection, so that one reader in the event loop hears of every failed connection.
// Both ends are non-blocking: a reader that falls behind (a long health check) costs socat's
// lines once the pipe is full, never a forwarder stalled on writing one. Neither end is
// inherited by anything else we start.
class ForwarderErrorPipe {
public:
    // Throws std::system_error.
    ForwarderErrorPipe();

    int readDescriptor() const noexcept { return m_read.get(); }
    int writeDescriptor() const noexcept { return m_write.get(); }

private:
    FileDescriptor m_read;
    FileDescriptor m_write;
};

} // namespace velquor
