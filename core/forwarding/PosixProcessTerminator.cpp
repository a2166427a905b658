#include "core/forwarding/PosixProcessTerminator.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>

namespace velquor {

void PosixProcessTerminator::terminate(std::int32_t processIdentifier) {
    const auto attempt = "terminating process " + std::to_string(processIdentifier);
    if (processIdentifier <= 0) {
        throw std::system_error(EINVAL, std::generic_category(), attempt);
    }
    if (::kill(processIdentifier, SIGTERM) != 0) {
        if (errno == ESRCH) {
            return;
        }
        throw std::system_error(errno, std::generic_category(), attempt);
    }
    // A stopped process acts on SIGTERM only once it runs again; systemd sends both too.
    ::kill(processIdentifier, SIGCONT);
}

} // namespace velquor
