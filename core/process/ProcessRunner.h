#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// Runs a short-lived helper program to completion and keeps what it prints on standard output.
// Its standard input and error are /dev/null; it inherits no other descriptor of ours. It runs
// in a process group of its own so that, past the deadline, it is killed with any helpers it
// started.
class ProcessRunner {
public:
    struct Result {
        std::optional<int> exitCode; // absent when a signal ended the program
        std::string standardOutput;  // at most the output limit, the front of what was printed
        bool outputTruncated = false;
    };

    static constexpr std::size_t defaultOutputLimit = 1024 * 1024;

    ProcessRunner(std::filesystem::path executable, std::vector<std::string> arguments,
                  std::chrono::milliseconds timeout, std::size_t outputLimit = defaultOutputLimit);

    // Throws std::system_error: "launching <path>" when the program cannot start; ETIMEDOUT
    // "<command line> did not finish within <timeout>" once it has been killed for overrunning.
    // Output past the limit is read and dropped so that the program never stalls on a full pipe.
    // The program is reaped on every path.
    Result run() const;

    const std::filesystem::path& executable() const noexcept { return m_executable; }
    const std::vector<std::string>& arguments() const noexcept { return m_arguments; }
    std::chrono::milliseconds timeout() const noexcept { return m_timeout; }

    // The path and arguments joined by spaces, for messages.
    std::string commandLine() const;

private:
    std::filesystem::path m_executable;
    std::vector<std::string> m_arguments;
    std::chrono::milliseconds m_timeout;
    std::size_t m_outputLimit;
};

} // namespace velquor
