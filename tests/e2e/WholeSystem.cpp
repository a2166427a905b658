#include "tests/e2e/WholeSystem.h"

#include "support/harness/SystemTool.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace velquor::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using harness::SystemTool;

std::optional<std::string> missingTool(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        try {
            SystemTool::find(name);
        } catch (const std::runtime_error& missing) {
            return missing.what();
        }
    }
    return std::nullopt;
}

} // namespace

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::optional<std::string> forwardingToolsUnavailableReason() {
    return missingTool({"socat", "lsof", "env"});
}

std::optional<std::string> wholeSystemUnavailableReason() {
    if (::geteuid() != 0) {
        return "tgtd needs root to run an iSCSI target";
    }
    if (auto missing = forwardingToolsUnavailableReason()) {
        return missing;
    }
    return missingTool({"tgtd", "tgtadm", "iscsi-inq"});
}

std::string iscsiInquiry(std::int64_t port, const std::string& iqn) {
    return SystemTool::run("iscsi-inq",
                           {"iscsi://127.0.0.1:" + std::to_string(port) + "/" + iqn + "/1"}, 20s);
}

DaemonProcess::DaemonProcess(const fs::path& home, const fs::path& program,
                             const std::vector<std::string>& arguments) {
    // The test's own process too: tests read the settings and the log where the program writes.
    ::setenv("HOME", home.c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_STATE_HOME");
    // Only for the child, through env(1), which then becomes the program: the desktop
    // application's one-instance socket goes to the test's folder, where a qarvex the user runs
    // cannot answer for it, and it draws its window where no display exists.
    std::vector<std::string> all = {"TMPDIR=" + home.string(), "XDG_RUNTIME_DIR=" + home.string(),
                                    "QT_QPA_PLATFORM=offscreen", program.string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    m_process = std::make_unique<harness::ChildProcess>(
        SystemTool::find("env"), all, home / (program.filename().string() + ".out"));
}

std::optional<int> DaemonProcess::terminate(std::chrono::seconds deadline) {
    m_process->signal(SIGTERM);
    return waitForExit(deadline);
}

std::optional<int> DaemonProcess::waitForExit(std::chrono::seconds deadline) {
    return m_process->waitForExit(deadline);
}

} // namespace velquor::test
