#pragma once

#include "support/harness/ChildProcess.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace velquor::bench {

// qarvexd as a user runs it, with a home folder of the bench's. It is asked to stop with
// SIGTERM, as systemd would; killed when it does not go, and any forwarder it left with it.
class QarvexdProcess {
public:
    // Writes its config.json (autoStart on), then starts it.
    // The desktop application (QARVEX_PATH) runs the same way, drawing on no display.
    QarvexdProcess(const std::filesystem::path& home, std::int64_t listenPort,
                   const std::string& discoveryUrl, std::int64_t checkIntervalSeconds,
                   const std::filesystem::path& program = QARVEXD_PATH);
    ~QarvexdProcess();
    QarvexdProcess(const QarvexdProcess&) = delete;
    QarvexdProcess& operator=(const QarvexdProcess&) = delete;

    std::int32_t pid() const noexcept { return m_process->pid(); }
    const std::filesystem::path& logFile() const noexcept { return m_logFile; }

    // Throws std::runtime_error with its log when its listen port does not accept in time.
    void waitUntilForwarding(std::chrono::milliseconds deadline) const;

private:
    std::int64_t m_listenPort;
    std::filesystem::path m_logFile;
    std::filesystem::path m_outputFile;
    std::unique_ptr<harness::ChildProcess> m_process;
};

} // namespace velquor::bench
