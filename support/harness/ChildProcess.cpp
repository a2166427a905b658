#include "support/harness/ChildProcess.h"

#include "core/files/FileDescriptor.h"
#include "core/process/ProcessSpawner.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>

namespace velquor::harness {

ChildProcess::ChildProcess(const std::filesystem::path& program,
                           const std::vector<std::string>& arguments,
                           const std::filesystem::path& outputFile) {
    const FileDescriptor output(
        ::open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!output.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "creating " + outputFile.string());
    }
    ProcessSpawner spawner;
    spawner.mapToNullDevice(0, O_RDONLY);
    spawner.mapDescriptor(output.get(), 1);
    spawner.mapDescriptor(output.get(), 2);
    m_pid = spawner.spawn(program, arguments);
}

ChildProcess::~ChildProcess() {
    kill();
}

void ChildProcess::signal(int signal) const noexcept {
    if (!m_reaped && m_pid > 0) {
        ::kill(m_pid, signal);
    }
}

bool ChildProcess::hasExited() noexcept {
    while (!m_reaped && m_pid > 0) {
        const auto result = ::waitpid(m_pid, &m_status, WNOHANG);
        if (result == 0) {
            return false;
        }
        if (result == m_pid || errno != EINTR) {
            m_reaped = true;
        }
    }
    return true;
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds deadline) noexcept {
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (!hasExited()) {
        if (std::chrono::steady_clock::now() >= until) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : 128 + WTERMSIG(m_status);
}

void ChildProcess::kill() noexcept {
    if (m_reaped || m_pid <= 0) {
        return;
    }
    ::kill(m_pid, SIGKILL);
    while (::waitpid(m_pid, &m_status, 0) < 0 && errno == EINTR) {
    }
    m_reaped = true;
}

} // namespace velquor::harness
