#include "tests/e2e/WholeSystem.h"

#include "core/files/FileDescriptor.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "core/process/ProcessRunner.h"
#include "core/process/ProcessSpawner.h"
#include "tests/support/Network.h"
#include "tests/support/Wait.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace velquor::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

bool isExecutable(const fs::path& path) {
    return ::access(path.c_str(), X_OK) == 0;
}

fs::path tool(const std::string& name) {
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        if (isExecutable(folder + name)) {
            return folder + name;
        }
    }
    return {};
}

std::string run(const std::string& name, const std::vector<std::string>& arguments,
                std::chrono::milliseconds timeout) {
    const ProcessRunner runner(tool(name), arguments, timeout);
    const auto result = runner.run();
    if (result.exitCode != 0) {
        throw std::runtime_error(runner.commandLine() + " failed: " + result.standardOutput);
    }
    return result.standardOutput;
}

// Waits for a child of ours to end; its exit status, or nothing when the deadline passed.
std::optional<int> waitForExit(std::int32_t pid, std::chrono::milliseconds deadline) {
    int status = 0;
    std::optional<int> exit;
    waitUntil(
        [&] {
            const auto done = ::waitpid(pid, &status, WNOHANG);
            if (done == pid) {
                exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            return done != 0;
        },
        deadline);
    return exit;
}

// A long-running child whose standard output and error go to a file, for a failed test to show.
std::int32_t spawnWithOutputTo(const fs::path& output, const fs::path& program,
                               const std::vector<std::string>& arguments) {
    const FileDescriptor outputFile(
        ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    ProcessSpawner spawner;
    spawner.mapToNullDevice(0, O_RDONLY);
    spawner.mapDescriptor(outputFile.get(), 1);
    spawner.mapDescriptor(outputFile.get(), 2);
    return spawner.spawn(program, arguments);
}

void killAndReap(std::int32_t pid) {
    if (pid > 0 && ::kill(pid, SIGKILL) == 0) {
        ::waitpid(pid, nullptr, 0);
    }
}

// tgtd names its control socket after this number; spread the numbers so that runs in
// parallel and leftovers of a crashed run do not meet.
std::int64_t freeControlPort() {
    static std::mt19937 random(static_cast<unsigned>(::getpid()));
    for (;;) {
        const auto port = std::uniform_int_distribution<std::int64_t>(10000, 32000)(random);
        if (!fs::exists("/var/run/tgtd/socket." + std::to_string(port))) {
            return port;
        }
    }
}

} // namespace

std::optional<std::string> wholeSystemUnavailableReason() {
    if (::geteuid() != 0) {
        return "tgtd needs root to run an iSCSI target";
    }
    for (const char* name : {"tgtd", "tgtadm", "iscsi-inq", "socat", "lsof"}) {
        if (tool(name).empty()) {
            return std::string(name) + " is not installed (scripts/install-deps installs it)";
        }
    }
    return std::nullopt;
}

IscsiTarget::IscsiTarget(const TemporaryDirectory& folder, std::string iqn,
                         std::int64_t lunMegabytes)
    : m_iqn(std::move(iqn)), m_port(freeTcpPort()), m_controlPort(freeControlPort()) {
    const auto lun = folder / (m_iqn.substr(m_iqn.rfind(':') + 1) + ".img");
    std::ofstream(lun).close();
    fs::resize_file(lun, static_cast<std::uintmax_t>(lunMegabytes) * 1024 * 1024);

    const auto log = folder / ("tgtd-" + std::to_string(m_port) + ".log");
    m_pid = spawnWithOutputTo(log, tool("tgtd"),
                              {"-f", "-C", std::to_string(m_controlPort), "--iscsi",
                               "portal=127.0.0.1:" + std::to_string(m_port)});
    try {
        NetworkPortChecker checker;
        if (!waitUntil([&] { return checker.isListening("127.0.0.1", m_port); })) {
            throw std::runtime_error("tgtd did not listen: " + readFile(log));
        }
        administer({"--op", "new", "--mode", "target", "--tid", "1", "-T", m_iqn});
        administer({"--op", "new", "--mode", "logicalunit", "--tid", "1", "--lun", "1", "-b",
                    lun.string()});
        administer({"--op", "bind", "--mode", "target", "--tid", "1", "-I", "ALL"});
    } catch (...) {
        killAndReap(m_pid);
        throw;
    }
}

IscsiTarget::~IscsiTarget() {
    // tgtd ignores SIGTERM while it has targets.
    killAndReap(m_pid);
    std::error_code ignored;
    for (const char* suffix : {"", ".lock"}) {
        fs::remove("/var/run/tgtd/socket." + std::to_string(m_controlPort) + suffix, ignored);
    }
}

void IscsiTarget::administer(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {"-C", std::to_string(m_controlPort), "--lld", "iscsi"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    run("tgtadm", all, 10s);
}

std::string iscsiInquiry(std::int64_t port, const std::string& iqn) {
    return run("iscsi-inq", {"iscsi://127.0.0.1:" + std::to_string(port) + "/" + iqn + "/1"}, 20s);
}

DaemonProcess::DaemonProcess(const fs::path& home, const fs::path& program) {
    ::setenv("HOME", home.c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_STATE_HOME");
    // Only for the child, through env(1), which then becomes the program: the desktop
    // application's one-instance socket goes to the test's folder, where a qarvex the user runs
    // cannot answer for it, and it draws its window where no display exists.
    m_pid = spawnWithOutputTo(home / (program.filename().string() + ".out"), "/usr/bin/env",
                              {"TMPDIR=" + home.string(), "XDG_RUNTIME_DIR=" + home.string(),
                               "QT_QPA_PLATFORM=offscreen", program.string()});
}

DaemonProcess::~DaemonProcess() {
    if (m_pid > 0) {
        killAndReap(m_pid);
    }
}

std::optional<int> DaemonProcess::terminate(std::chrono::seconds deadline) {
    ::kill(m_pid, SIGTERM);
    return waitForExit(deadline);
}

std::optional<int> DaemonProcess::waitForExit(std::chrono::seconds deadline) {
    auto status = test::waitForExit(m_pid, deadline);
    if (status) {
        m_pid = -1;
    }
    return status;
}

} // namespace velquor::test
