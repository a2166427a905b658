#include "core/process/ProcessExitWatch.h"

#include <cerrno>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace velquor {

ProcessExitWatch::ProcessExitWatch(std::int32_t processIdentifier)
    : m_processIdentifier(processIdentifier),
      // Descriptors from pidfd_open are close-on-exec already, so no child inherits one.
      m_descriptor(static_cast<int>(::syscall(SYS_pidfd_open, processIdentifier, 0))) {
    if (!m_descriptor.isOpen()) {
        throw std::system_error(errno, std::generic_category(),
                                "watching process " + std::to_string(processIdentifier));
    }
}

bool ProcessExitWatch::hasExited() const {
    pollfd entry{m_descriptor.get(), POLLIN, 0};
    while (::poll(&entry, 1, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(),
                                    "polling process " + std::to_string(m_processIdentifier));
        }
    }
    return (entry.revents & POLLIN) != 0;
}

} // namespace velquor
