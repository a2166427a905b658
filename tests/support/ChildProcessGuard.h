#pragma once

#include "core/forwarding/SocatProcess.h"

#include <cstdint>
#include <memory>

namespace velquor::test {

// Keeps a child a test launched from outliving the test, whichever assertion failed first:
// on destruction it is killed and waited for.
class ChildProcessGuard {
public:
    explicit ChildProcessGuard(std::unique_ptr<SocatProcess> process);
    ~ChildProcessGuard();
    ChildProcessGuard(const ChildProcessGuard&) = delete;
    ChildProcessGuard& operator=(const ChildProcessGuard&) = delete;

    SocatProcess* operator->() const noexcept { return m_process.get(); }
    std::int32_t pid() const noexcept { return m_pid; }

    // Gives the process object up; the guard then still kills the child should it exist.
    std::unique_ptr<SocatProcess> release() noexcept { return std::move(m_process); }

private:
    std::unique_ptr<SocatProcess> m_process;
    std::int32_t m_pid;
};

} // namespace velquor::test
