#include "core/process/ProcessRunner.h"

#include "core/files/FileDescriptor.h"
#include "core/process/ChildReaper.h"
#include "core/process/ProcessSpawner.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace velquor {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long a killed child gets to disappear. One stuck in an uninterruptible call (lsof on a
// dead network mount) can outlast SIGKILL; the caller must not hang on it.
constexpr milliseconds killGrace{1000};
constexpr milliseconds longestNap{20};

int pollTimeout(Clock::duration remaining) {
    const auto ms = std::chrono::ceil<milliseconds>(remaining).count();
    return static_cast<int>(std::clamp<decltype(ms)>(ms, 0, INT_MAX));
}

std::string durationText(milliseconds duration) {
    if (duration.count() % 1000 == 0) {
        return std::to_string(duration.count() / 1000) + " s";
    }
    return std::to_string(duration.count()) + " ms";
}

// The started program; leaving run() any way but through a reaped exit kills and reaps it.
class Child {
public:
    explicit Child(pid_t pid) noexcept : m_pid(pid) {}
    ~Child() {
        if (!m_reaped) {
            killAndReap();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // The wait status once the program has ended. Throws when it cannot be waited for.
    std::optional<int> exitStatus(const std::string& commandLine) {
        for (;;) {
            int status = 0;
            const pid_t result = ::waitpid(m_pid, &status, WNOHANG);
            if (result == m_pid) {
                m_reaped = true;
                return status;
            }
            if (result == 0) {
                return std::nullopt;
            }
            if (errno != EINTR) {
                // Someone else reaped it (SIGCHLD ignored); the pid is no longer ours to signal.
                const int error = errno;
                m_reaped = true;
                throw std::system_error(error, std::generic_category(),
                                        "waiting for " + commandLine);
            }
        }
    }

private:
    void killAndReap() noexcept {
        ::kill(-m_pid, SIGKILL);
        ::kill(m_pid, SIGKILL); // in case it left its group
        const auto giveUp = Clock::now() + killGrace;
        for (milliseconds nap{1};; nap = std::min(nap * 2, longestNap)) {
            const pid_t result = ::waitpid(m_pid, nullptr, WNOHANG);
            if (result == m_pid || (result < 0 && errno != EINTR)) {
                m_reaped = true;
                return;
            }
            if (Clock::now() >= giveUp) {
                break;
            }
            std::this_thread::sleep_for(nap);
        }
        ChildReaper::adopt(m_pid);
        m_reaped = true;
    }

    pid_t m_pid;
    bool m_reaped = false;
};

} // namespace

ProcessRunner::ProcessRunner(std::filesystem::path executable, std::vector<std::string> arguments,
                             std::chrono::milliseconds timeout, std::size_t outputLimit)
    : m_executable(std::move(executable)), m_arguments(std::move(arguments)), m_timeout(timeout),
      m_outputLimit(outputLimit) {}

std::string ProcessRunner::commandLine() const {
    std::string text = m_executable.string();
    for (const auto& argument : m_arguments) {
        text += ' ';
        text += argument;
    }
    return text;
}

ProcessRunner::Result ProcessRunner::run() const {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        const int error = errno;
        throw std::system_error(error, std::generic_category(),
                                "creating the output pipe for " + commandLine());
    }
    FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);

    ProcessSpawner spawner;
    spawner.mapToNullDevice(STDIN_FILENO, O_RDONLY);
    spawner.mapDescriptor(writeEnd.get(), STDOUT_FILENO);
    spawner.mapToNullDevice(STDERR_FILENO, O_WRONLY);
    spawner.startNewProcessGroup();

    const auto deadline = Clock::now() + m_timeout;
    Child child(spawner.spawn(m_executable, m_arguments));
    // Only the child may hold the write end, or the end of its output would never be seen.
    writeEnd.close();

    const auto timedOut = [&] {
        return std::system_error(ETIMEDOUT, std::generic_category(),
                                 commandLine() + " did not finish within " +
                                     durationText(m_timeout));
    };

    Result result;
    std::array<char, 16384> buffer;
    for (;;) {
        const auto remaining = deadline - Clock::now();
        if (remaining <= Clock::duration::zero()) {
            throw timedOut();
        }
        pollfd entry{readEnd.get(), POLLIN, 0};
        const int ready = ::poll(&entry, 1, pollTimeout(remaining));
        if (ready < 0 && errno != EINTR) {
            const int error = errno;
            throw std::system_error(error, std::generic_category(),
                                    "reading the output of " + commandLine());
        }
        if (ready <= 0) {
            continue;
        }
        const ssize_t count = ::read(readEnd.get(), buffer.data(), buffer.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            const int error = errno;
            throw std::system_error(error, std::generic_category(),
                                    "reading the output of " + commandLine());
        }
        if (count == 0) {
            break;
        }
        const auto room = m_outputLimit - result.standardOutput.size();
        const auto kept = std::min(static_cast<std::size_t>(count), room);
        result.standardOutput.append(buffer.data(), kept);
        result.outputTruncated = result.outputTruncated || kept < static_cast<std::size_t>(count);
    }

    // Closing standard output nearly always means the program is exiting, so short naps suffice.
    for (milliseconds nap{1};; nap = std::min(nap * 2, longestNap)) {
        if (const auto status = child.exitStatus(commandLine())) {
            if (WIFEXITED(*status)) {
                result.exitCode = WEXITSTATUS(*status);
            }
            return result;
        }
        const auto remaining = deadline - Clock::now();
        if (remaining <= Clock::duration::zero()) {
            throw timedOut();
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(nap, remaining));
    }
}

} // namespace velquor
