#include "core/process/ProcessExitWatch.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
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

std::string ProcessExitWatch::exitLine(std::int32_t processIdentifier) {
    return "Health check early: forwarder exited [PID=" + std::to_string(processIdentifier) + "]";
}

std::string ProcessExitWatch::exitLine() const {
    const auto line = exitLine(m_processIdentifier);
    siginfo_t info{};
    // WNOWAIT leaves the zombie to its owner, whose reaping (and the pid) stays as it was.
    if (::waitid(P_PID, static_cast<id_t>(m_processIdentifier), &info,
                 WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid != m_processIdentifier) {
        return line;
    }
    if (info.si_code == CLD_EXITED) {
        return line + " with status " + std::to_string(info.si_status);
    }
    const char* name = ::sigabbrev_np(info.si_status);
    return line + " by signal " + (name ? std::string(name) : std::to_string(info.si_status));
}

} // namespace velquor
