#include "core/forwarding/PosixSocatProcess.h"

#include "core/forwarding/PosixProcessTerminator.h"
#include "core/forwarding/ProcessStat.h"
#include "core/process/ChildReaper.h"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

namespace velquor {

PosixSocatProcess::PosixSocatProcess(std::int32_t processIdentifier)
    : m_processIdentifier(processIdentifier) {
    // kill() reads 0 and negative identifiers as whole process groups.
    if (processIdentifier <= 0) {
        throw std::invalid_argument("not a process identifier: " +
                                    std::to_string(processIdentifier));
    }
}

PosixSocatProcess::~PosixSocatProcess() {
    if (isRunning()) {
        ChildReaper::adopt(m_processIdentifier);
    }
}

bool PosixSocatProcess::isRunning() {
    while (!m_reaped) {
        int status = 0;
        const pid_t result = ::waitpid(m_processIdentifier, &status, WNOHANG);
        if (result == 0) {
            return true;
        }
        if (result == m_processIdentifier) {
            m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        // Any failure but an interruption (ECHILD: reaped elsewhere) means the child is not
        // ours to wait for or signal any more.
        if (result == m_processIdentifier || errno != EINTR) {
            m_reaped = true;
        }
    }
    return false;
}

std::optional<int> PosixSocatProcess::exitStatus() {
    isRunning();
    return m_exitStatus;
}

bool PosixSocatProcess::isStopped() {
    // Read only while the child is unreaped, so that the identifier is still its own.
    const auto stat = isRunning() ? ProcessStat::read(m_processIdentifier) : std::nullopt;
    return stat && stat->isStopped();
}

void PosixSocatProcess::terminate() {
    if (!m_reaped) {
        PosixProcessTerminator().terminate(m_processIdentifier);
    }
}

} // namespace velquor
