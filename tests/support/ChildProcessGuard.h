#pragma once

#include "core/forwarding/SocatProcess.h"
#include "tests/support/ProcessInspection.h"
#include "tests/support/Wait.h"

#include <csignal>
#include <cstdint>
#include <memory>

namespace velquor::test {

// Keeps a child a test launched from outliving the test, whichever assertion failed first:
// on destruction it is killed and waited for.
class ChildProcessGuard {
public:
    explicit ChildProcessGuard(std::unique_ptr<SocatProcess> process)
        : m_process(std::move(process)), m_pid(m_process->processIdentifier()) {}
    ~ChildProcessGuard() {
        if (m_process) {
            if (m_process->isRunning()) {
                ::kill(m_pid, SIGKILL);
                waitUntil([this] { return !m_process->isRunning(); });
            }
            return;
        }
        // Released: whoever reaps it now, the child must at least be gone.
        if (processState(m_pid).value_or('Z') != 'Z') {
            ::kill(m_pid, SIGKILL);
        }
        waitUntil([this] { return !processState(m_pid); });
    }

    SocatProcess* operator->() const noexcept { return m_process.get(); }
    std::int32_t pid() const noexcept { return m_pid; }

    // Gives the process object up; the guard then still kills the child should it exist.
    std::unique_ptr<SocatProcess> release() noexcept { return std::move(m_process); }

private:
    std::unique_ptr<SocatProcess> m_process;
    std::int32_t m_pid;
};

} // namespace velquor::test
