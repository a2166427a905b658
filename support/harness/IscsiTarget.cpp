#include "support/harness/IscsiTarget.h"

#include "core/forwarding/NetworkPortChecker.h"
#include "support/harness/Loopback.h"
#include "support/harness/SystemTool.h"

#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace velquor::harness {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// tgtd names its control socket after this number; a random one keeps clear of other tgtd
// instances, of runs in parallel and of what a killed run left behind.
std::int64_t unusedControlPort() {
    static std::mt19937 random(static_cast<unsigned>(::getpid()));
    for (;;) {
        const auto port = std::uniform_int_distribution<std::int64_t>(10000, 32000)(random);
        if (!fs::exists("/var/run/tgtd/socket." + std::to_string(port))) {
            return port;
        }
    }
}

std::string contentOf(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

} // namespace

IscsiTarget::IscsiTarget(const fs::path& folder, std::string iqn, std::int64_t lunMegabytes)
    : m_iqn(std::move(iqn)), m_port(Loopback::freePort()), m_controlPort(unusedControlPort()) {
    const auto lun = folder / ("lun-" + std::to_string(m_port) + ".img");
    std::ofstream(lun).close();
    fs::resize_file(lun, static_cast<std::uintmax_t>(lunMegabytes) * 1024 * 1024);
    const auto log = folder / ("tgtd-" + std::to_string(m_port) + ".log");
    m_process = std::make_unique<ChildProcess>(
        SystemTool::find("tgtd"),
        std::vector<std::string>{"-f", "-C", std::to_string(m_controlPort), "--iscsi",
                                 "portal=127.0.0.1:" + std::to_string(m_port)},
        log);
    try {
        NetworkPortChecker checker;
        const auto until = std::chrono::steady_clock::now() + 20s;
        while (!checker.isListening("127.0.0.1", m_port)) {
            if (m_process->hasExited() || std::chrono::steady_clock::now() > until) {
                throw std::runtime_error("tgtd did not listen: " + contentOf(log));
            }
            std::this_thread::sleep_for(5ms);
        }
        administer({"--op", "new", "--mode", "target", "--tid", "1", "-T", m_iqn});
        administer({"--op", "new", "--mode", "logicalunit", "--tid", "1", "--lun", "1", "-b",
                    lun.string()});
        administer({"--op", "bind", "--mode", "target", "--tid", "1", "-I", "ALL"});
    } catch (...) {
        m_process.reset();
        removeControlSocket();
        throw;
    }
}

IscsiTarget::~IscsiTarget() {
    m_process.reset();
    removeControlSocket();
}

std::string IscsiTarget::lunUrl(std::int64_t port) const {
    return "iscsi://127.0.0.1:" + std::to_string(port) + "/" + m_iqn + "/1";
}

void IscsiTarget::administer(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {"-C", std::to_string(m_controlPort), "--lld", "iscsi"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    SystemTool::run("tgtadm", all, 10s);
}

void IscsiTarget::removeControlSocket() const noexcept {
    std::error_code ignored;
    for (const char* suffix : {"", ".lock"}) {
        fs::remove("/var/run/tgtd/socket." + std::to_string(m_controlPort) + suffix, ignored);
    }
}

} // namespace velquor::harness
