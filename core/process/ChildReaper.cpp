#include "core/process/ChildReaper.h"

#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <thread>

namespace velquor {

void ChildReaper::adopt(std::int32_t processIdentifier) noexcept {
    try {
        // A blocking waitpid per child needs no bookkeeping and never touches another child;
        // released children are rare, so the threads stay few.
        std::thread([processIdentifier] {
            while (::waitpid(processIdentifier, nullptr, 0) < 0 && errno == EINTR) {
            }
        }).detach();
    } catch (...) {
    }
}

void ChildReaper::endAndAdopt(std::int32_t processIdentifier) noexcept {
    if (processIdentifier <= 0) {
        return;
    }
    ::kill(processIdentifier, SIGTERM);
    adopt(processIdentifier);
}

} // namespace velquor
