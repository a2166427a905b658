#include "tests/support/ChildProcessGuard.h"

#include "tests/support/ProcessInspection.h"
#include "tests/support/Wait.h"

#include <csignal>

namespace velquor::test {

ChildProcessGuard::ChildProcessGuard(std::unique_ptr<SocatProcess> process)
    : m_process(std::move(process)), m_pid(m_process->processIdentifier()) {}

ChildProcessGuard::~ChildProcessGuard() {
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

} // namespace velquor::test
