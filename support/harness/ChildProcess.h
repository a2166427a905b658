#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velquor::harness {

// A child of the bench or of a whole-system test. Whatever happens it is killed with SIGKILL and
// reaped when released: tgtd ignores SIGTERM once it has targets, and a failed run must leave
// nothing behind.
class ChildProcess {
public:
    // Standard input is /dev/null; standard output and error both go to outputFile.
    ChildProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                 const std::filesystem::path& outputFile);
    // Takes over a child the caller forked.
    explicit ChildProcess(std::int32_t pid) noexcept : m_pid(pid) {}
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    std::int32_t pid() const noexcept { return m_pid; }

    // Nothing once the child has been reaped, so a recycled identifier is never signalled.
    void signal(int signal) const noexcept;
    bool hasExited() noexcept;
    // The exit status (128 + the signal when one ended it), or nothing when the deadline passed.
    std::optional<int> waitForExit(std::chrono::milliseconds deadline) noexcept;
    void kill() noexcept;

private:
    std::int32_t m_pid = -1;
    bool m_reaped = false;
    int m_status = 0;
};

} // namespace velquor::harness
