// qarvexd heals a forwarder that dies at once instead of at its next interval, and does not
// spin on one that keeps dying. Real qarvexd and socat, no root; the interval is 60 s, so
// anything sooner was triggered by the exit itself.
#include "core/config/ForwarderConfig.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "tests/e2e/WholeSystem.h"
#include "tests/support/DiscoveryServer.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/ProcessInspection.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <regex>
#include <sys/stat.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Well before the 60 s interval.
constexpr auto healDeadline = 20s;

std::vector<std::int32_t> startedPids(const std::string& log) {
    static const std::regex started(R"(socat started \[PID=(\d+)\])");
    std::vector<std::int32_t> pids;
    for (std::sregex_iterator it(log.begin(), log.end(), started), end; it != end; ++it) {
        pids.push_back(std::stoi((*it)[1]));
    }
    return pids;
}

class HealAtOnceTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = forwardingToolsUnavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = m_listenPort;
        json["recentListenPorts"] = {m_listenPort};
        json["discoveryURL"] = m_discovery.url().text;
        json["checkIntervalSeconds"] = 60;
        json["autoStart"] = true;
        fs::create_directories(m_configFile.parent_path());
        writeFile(m_configFile, json.dump(2));
    }

    void TearDown() override {
        if (m_daemon) {
            m_daemon->terminate();
        }
    }

    std::string log() const { return readFile(m_logFile); }
    bool serving() const { return NetworkPortChecker().isListening("127.0.0.1", m_listenPort); }

    TemporaryDirectory m_home;
    fs::path m_configFile = m_home / ".config" / "Velquor" / "config.json";
    fs::path m_logFile = m_home / ".local" / "state" / "Velquor" / "service.log";
    std::int64_t m_listenPort = freeTcpPort();
    LoopbackListener m_target;
    DiscoveryServer m_discovery;
    std::unique_ptr<DaemonProcess> m_daemon;
};

TEST_F(HealAtOnceTest, AKilledForwarderServesAgainLongBeforeTheIntervalAndLeavesNoZombie) {
    m_daemon = std::make_unique<DaemonProcess>(m_home.path());
    ASSERT_TRUE(waitUntil([&] { return startedPids(log()).size() == 1 && serving(); }, 30s))
        << log();
    const auto killed = startedPids(log()).front();
    ASSERT_EQ(::kill(killed, SIGKILL), 0);

    ASSERT_TRUE(
        waitUntil([&] { return startedPids(log()).size() == 2 && serving(); }, healDeadline))
        << log();
    EXPECT_NE(log().find("Health check restarting missing listener"), std::string::npos);
    EXPECT_NE(startedPids(log()).back(), killed);
    EXPECT_TRUE(waitUntil([&] { return !processState(killed); }, healDeadline))
        << "left in state " << processState(killed).value_or('-');
}

// A socat beside the program that forwards for a moment and then ends, every time.
TEST_F(HealAtOnceTest, AForwarderThatKeepsDyingIsRestartedWithBackOff) {
    const auto bin = m_home / "install" / "bin";
    const auto libexec = m_home / "install" / "libexec" / "velquor";
    fs::create_directories(bin);
    fs::create_directories(libexec);
    fs::copy_file(QARVEXD_PATH, bin / "qarvexd");
    writeFile(libexec / "socat", "#!/bin/sh\n(sleep 1; kill $$) &\nexec /usr/bin/socat \"$@\"\n");
    ::chmod((libexec / "socat").c_str(), 0755);
    m_daemon = std::make_unique<DaemonProcess>(m_home.path(), bin / "qarvexd");

    ASSERT_TRUE(waitUntil(
        [&] { return log().find("Forwarder exited unexpectedly 3 times") != std::string::npos; },
        healDeadline))
        << log();
    // Back-off steps 0, 0.2, 1 and 5 s, then the 60 s interval: a handful of starts, not a loop.
    EXPECT_FALSE(waitUntil([&] { return startedPids(log()).size() > 6; }, 15s)) << log();
    EXPECT_GE(startedPids(log()).size(), 3u);
}

} // namespace
} // namespace velquor::test
