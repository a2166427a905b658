#include "bench/QarvexdProcess.h"

#include "bench/ConfigFile.h"
#include "bench/FileText.h"
#include "bench/ForwarderSweep.h"
#include "bench/Interruption.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "support/harness/SystemTool.h"

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velquor::bench {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

} // namespace

QarvexdProcess::QarvexdProcess(const fs::path& home, std::int64_t listenPort,
                               const std::string& discoveryUrl, std::int64_t checkIntervalSeconds,
                               const fs::path& program)
    : m_listenPort(listenPort), m_logFile(home / ".local" / "state" / "Velquor" / "service.log"),
      m_outputFile(home / (program.filename().string() + ".out")) {
    ConfigFile::write(home / ".config" / "Velquor" / "config.json", listenPort, discoveryUrl,
                      checkIntervalSeconds, true);
    // env execs qarvexd in the same process, so the pid is qarvexd's, and the bench's own
    // environment stays as it was.
    m_process = std::make_unique<harness::ChildProcess>(
        harness::SystemTool::find("env"),
        std::vector<std::string>{"-u", "XDG_CONFIG_HOME", "-u", "XDG_STATE_HOME",
                                 "HOME=" + home.string(), "TMPDIR=" + home.string(),
                                 "XDG_RUNTIME_DIR=" + home.string(), "QT_QPA_PLATFORM=offscreen",
                                 program.string()},
        m_outputFile);
}

QarvexdProcess::~QarvexdProcess() {
    m_process->signal(SIGTERM);
    if (!m_process->waitForExit(10s)) {
        m_process->kill();
    }
    ForwarderSweep::killSocatsOn(m_listenPort);
}

void QarvexdProcess::waitUntilForwarding(std::chrono::milliseconds deadline) const {
    const auto until = std::chrono::steady_clock::now() + deadline;
    NetworkPortChecker checker;
    while (!checker.isListening("127.0.0.1", m_listenPort)) {
        if (m_process->hasExited() || std::chrono::steady_clock::now() > until) {
            throw std::runtime_error("qarvexd did not start forwarding: " +
                                     contentOf(m_outputFile) + contentOf(m_logFile));
        }
        Interruption::sleepFor(5ms);
    }
}

} // namespace velquor::bench
