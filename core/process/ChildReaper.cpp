#include "core/process/ChildReaper.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <sys/wait.h>
#include <vector>

namespace velquor {
namespace {

struct AdoptedChildren {
    std::mutex mutex;
    std::vector<std::int32_t> pids;
};

AdoptedChildren& adoptedChildren() {
    static AdoptedChildren children;
    return children;
}

// True when the child is gone: reaped now, or not ours to wait for (ECHILD).
bool reaped(std::int32_t processIdentifier) {
    for (;;) {
        const pid_t result = ::waitpid(processIdentifier, nullptr, WNOHANG);
        if (result == processIdentifier) {
            return true;
        }
        if (result == 0) {
            return false;
        }
        if (errno != EINTR) {
            return true;
        }
    }
}

} // namespace

void ChildReaper::adopt(std::int32_t processIdentifier) noexcept {
    if (processIdentifier <= 0) {
        return;
    }
    auto& children = adoptedChildren();
    {
        const std::lock_guard lock(children.mutex);
        try {
            children.pids.push_back(processIdentifier);
        } catch (...) {
            // Without memory the child stays a zombie until this process exits.
        }
    }
    reapAdopted();
}

void ChildReaper::endAndAdopt(std::int32_t processIdentifier) noexcept {
    if (processIdentifier <= 0) {
        return;
    }
    ::kill(processIdentifier, SIGTERM);
    ::kill(processIdentifier, SIGCONT); // a stopped child acts on SIGTERM only once it runs
    adopt(processIdentifier);
}

void ChildReaper::reapAdopted() noexcept {
    auto& children = adoptedChildren();
    const std::lock_guard lock(children.mutex);
    std::erase_if(children.pids, reaped);
}

} // namespace velquor
