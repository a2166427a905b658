#pragma once

#include "core/files/FileDescriptor.h"
#include "core/files/LockHolder.h"

#include <cstdint>
#include <optional>

namespace velquor {

// Claims a TCP port for one forwarder by binding the abstract Unix socket name
// "com.dravenloe.velquor.port.<port>". Such a name belongs to the network namespace, exactly
// where the port itself does, and the kernel frees it with the holder's last descriptor, even
// after SIGKILL. No connection is ever accepted: a refused taker only connects to learn the
// holder's PID from the socket's credentials.
class PortLock {
public:
    // Tries once, without waiting. Throws std::system_error when no socket can be made.
    explicit PortLock(std::int64_t port);

    bool isHeld() const noexcept { return m_held; }
    // Who holds the name when this one did not get it, from the holder's PID and its
    // /proc/<pid>/comm; nothing when that cannot be told.
    const std::optional<LockHolder>& holder() const noexcept { return m_holder; }

private:
    FileDescriptor m_fd;
    bool m_held = false;
    std::optional<LockHolder> m_holder;
};

} // namespace velquor
