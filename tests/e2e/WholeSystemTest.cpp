// The real programs together: qarvexd, socat, lsof, a loopback discovery server, tgtd as the
// iSCSI target and libiscsi's iscsi-inq as the initiator.
#include "tests/e2e/WholeSystem.h"

#include "core/config/ForwarderConfig.h"
#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "tests/support/DiscoveryServer.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <fstream>
#include <unistd.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// The daemon's shortest interval (5 s) and a start behind it, with room for a loaded machine.
constexpr auto healthCheckDeadline = 60s;

std::vector<std::int32_t> socatsOn(std::int64_t port) {
    std::vector<std::int32_t> pids;
    for (const auto& process :
         LsofListenerProbe(LsofListenerProbe::defaultLsofPath()).processes("127.0.0.1", port)) {
        if (process.isSocat()) {
            pids.push_back(process.processIdentifier);
        }
    }
    return pids;
}

class WholeSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = forwardingToolsUnavailableReason()) {
            GTEST_SKIP() << *reason;
        }
    }

    void TearDown() override {
        m_daemon.reset();
        // A failed test may leave forwarders behind; no test may leave a process.
        for (const auto pid : socatsOn(m_listenPort)) {
            ::kill(pid, SIGKILL);
        }
    }

    void writeConfig(bool autoStart, const std::optional<TargetEndpoint>& cached = std::nullopt) {
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = m_listenPort;
        json["recentListenPorts"] = {m_listenPort};
        json["discoveryURL"] =
            m_discoveryDown ? "http://127.0.0.1:" + std::to_string(freeTcpPort()) + "/dynamic-port"
                            : m_discovery.url().text;
        json["checkIntervalSeconds"] = 5;
        json["autoStart"] = autoStart;
        if (cached) {
            json["target"] = cached->toJson();
        }
        fs::create_directories(m_configFile.parent_path());
        std::ofstream(m_configFile) << json.dump(2);
    }

    void startDaemon() { m_daemon = std::make_unique<DaemonProcess>(m_home.path()); }

    std::string log() const { return readFile(m_logFile); }

    // Waits until the log holds the text at least `count` times.
    bool waitForLog(const std::string& text, std::size_t count = 1,
                    std::chrono::milliseconds deadline = healthCheckDeadline) const {
        return waitUntil([&] { return occurrences(log(), text) >= count; }, deadline);
    }

    std::string route(const IscsiTarget& target) const {
        return "127.0.0.1:" + std::to_string(m_listenPort) +
               " -> 127.0.0.1:" + std::to_string(target.port());
    }

    void pointDiscoveryAt(const IscsiTarget& target) {
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", target.port()));
    }

    // qarvexd with autoStart on and discovery pointing at the target; true once it started socat.
    bool startsForwardingTo(const IscsiTarget& target) {
        pointDiscoveryAt(target);
        writeConfig(true);
        startDaemon();
        return waitForLog("socat started [PID=");
    }

    // Forwarding from the listen port to the target, as an initiator sees it.
    void expectIscsiReaches(const IscsiTarget& target) {
        ASSERT_TRUE(
            waitUntil([&] { return NetworkPortChecker().isListening("127.0.0.1", m_listenPort); }));
        std::string inquiry;
        ASSERT_NO_THROW(inquiry = iscsiInquiry(m_listenPort, target.iqn())) << log();
        EXPECT_NE(inquiry.find("Peripheral Device Type:DIRECT_ACCESS"), std::string::npos)
            << inquiry;
    }

    TemporaryDirectory m_home;
    TemporaryDirectory m_data;
    fs::path m_configFile = m_home / ".config" / "Velquor" / "config.json";
    fs::path m_logFile = m_home / ".local" / "state" / "Velquor" / "service.log";
    std::int64_t m_listenPort = freeTcpPort();
    DiscoveryServer m_discovery;
    bool m_discoveryDown = false; // nothing listens where discovery should answer
    std::unique_ptr<DaemonProcess> m_daemon;
};

// The tests that reach a real iSCSI target through the forwarder.
class WholeSystemWithTargetTest : public WholeSystemTest {
protected:
    void SetUp() override {
        if (const auto reason = wholeSystemUnavailableReason()) {
            GTEST_SKIP() << *reason;
        }
    }
};

TEST_F(WholeSystemWithTargetTest, AutoStartForwardsAnInitiatorToTheDiscoveredTarget) {
    IscsiTarget one(m_data, "iqn.2026-11.com.velquor.test:one", 8);
    ASSERT_TRUE(startsForwardingTo(one)) << log();
    EXPECT_NE(log().find("]: " + route(one)), std::string::npos) << log();
    expectIscsiReaches(one);
}

TEST_F(WholeSystemWithTargetTest, TheForwarderFollowsTheTargetWhenItMoves) {
    IscsiTarget one(m_data, "iqn.2026-11.com.velquor.test:one", 8);
    IscsiTarget two(m_data, "iqn.2026-11.com.velquor.test:two", 16);
    ASSERT_TRUE(startsForwardingTo(one)) << log();
    expectIscsiReaches(one);

    pointDiscoveryAt(two);
    ASSERT_TRUE(waitForLog("]: " + route(two))) << log();
    const auto text = log();
    EXPECT_NE(text.find("Target changed: 127.0.0.1:" + std::to_string(one.port()) +
                        " -> 127.0.0.1:" + std::to_string(two.port()) +
                        "; restarting forwarding service"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("socat stopped [PID="), std::string::npos) << text;
    expectIscsiReaches(two);
    EXPECT_THROW(iscsiInquiry(m_listenPort, one.iqn()), std::runtime_error)
        << "the old target is still reachable through the listen port";
    EXPECT_TRUE(waitUntil([&] { return socatsOn(one.port()).empty(); }))
        << "a socat of the old route is left";
}

TEST_F(WholeSystemWithTargetTest, AForwarderKilledFromOutsideIsRestartedByTheNextCheck) {
    IscsiTarget one(m_data, "iqn.2026-11.com.velquor.test:one", 8);
    ASSERT_TRUE(startsForwardingTo(one)) << log();
    for (const auto pid : socatsOn(m_listenPort)) {
        ::kill(pid, SIGKILL);
    }
    ASSERT_TRUE(waitForLog("Health check restarting missing listener")) << log();
    ASSERT_TRUE(waitForLog("socat started [PID=", 2)) << log();
    expectIscsiReaches(one);
}

TEST_F(WholeSystemWithTargetTest, ForwardingGoesOnWithTheCachedTargetWhileDiscoveryIsDown) {
    IscsiTarget one(m_data, "iqn.2026-11.com.velquor.test:one", 8);
    m_discoveryDown = true;
    writeConfig(true, TargetEndpoint("127.0.0.1", one.port()));
    startDaemon();
    ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
    EXPECT_NE(log().find("WARNING: Start dynamic target lookup failed from "), std::string::npos);
    expectIscsiReaches(one);
    ASSERT_TRUE(waitForLog("WARNING: Health check dynamic target lookup failed from ")) << log();
    ASSERT_TRUE(waitForLog("Health check passed")) << log();
    EXPECT_EQ(occurrences(log(), "WARNING: Health check"),
              occurrences(log(), "Health check passed"))
        << "one warning per check";
    expectIscsiReaches(one);
}

TEST_F(WholeSystemTest, WithoutDiscoveryAndWithoutACachedTargetNothingStarts) {
    m_discoveryDown = true;
    writeConfig(true);
    startDaemon();
    ASSERT_TRUE(waitForLog("ERROR: Failed to start service: ")) << log();
    EXPECT_TRUE(socatsOn(m_listenPort).empty());
    EXPECT_FALSE(NetworkPortChecker().isListening("127.0.0.1", m_listenPort));
}

TEST_F(WholeSystemTest, APortHeldByAnotherProgramFailsAndLeavesTheProgramAlone) {
    // No target is ever reached: the start fails on the port before it would connect.
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", freeTcpPort()));
    // A program that is not socat holds the port: perl, which every Debian system has.
    harness::ChildProcess squatter("/usr/bin/perl",
                                   {"-MIO::Socket::INET", "-e",
                                    "my $s = IO::Socket::INET->new(LocalAddr => '127.0.0.1', "
                                    "LocalPort => $ARGV[0], Listen => 16) or die $!; sleep",
                                    std::to_string(m_listenPort)},
                                   m_data / "squatter.out");
    ASSERT_TRUE(
        waitUntil([&] { return NetworkPortChecker().isListening("127.0.0.1", m_listenPort); }));
    writeConfig(true);
    startDaemon();
    ASSERT_TRUE(waitForLog("ERROR: Failed to start service: portOccupiedByUnknownProcess(host: "
                           "\"127.0.0.1\", port: " +
                           std::to_string(m_listenPort) + ")"))
        << log();
    ASSERT_TRUE(waitForLog("Health check passed")) << "the check leaves the port to its owner";
    EXPECT_FALSE(squatter.hasExited());
    EXPECT_TRUE(socatsOn(m_listenPort).empty());
}

TEST_F(WholeSystemTest, SigtermStopsTheForwarderAndExitsCleanly) {
    const LoopbackListener target;
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", target.port()));
    writeConfig(true);
    startDaemon();
    ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
    EXPECT_EQ(m_daemon->terminate(), 0);
    EXPECT_NE(log().find("socat stopped [PID="), std::string::npos) << log();
    EXPECT_TRUE(waitUntil([&] { return socatsOn(m_listenPort).empty(); })) << "a socat remains";
}

// The desktop application runs the same service: started twice it stays one process, and ending
// the session (SIGTERM) stops its forwarder like its quit command does.
TEST_F(WholeSystemWithTargetTest,
       TheDesktopApplicationForwardsStaysOneAndStopsForwardingOnSigterm) {
    IscsiTarget one(m_data, "iqn.2026-11.com.velquor.test:one", 8);
    pointDiscoveryAt(one);
    writeConfig(true);
    DaemonProcess app(m_home.path(), QARVEX_PATH);
    ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
    expectIscsiReaches(one);

    DaemonProcess second(m_home.path(), QARVEX_PATH);
    EXPECT_EQ(second.waitForExit(std::chrono::seconds(60)), 0) << "it handed over and ended";
    EXPECT_EQ(occurrences(log(), "Configuration loaded"), 1u) << "the second one loaded nothing";

    EXPECT_EQ(app.terminate(), 0);
    EXPECT_NE(log().find("socat stopped [PID="), std::string::npos) << log();
    EXPECT_TRUE(waitUntil([&] { return socatsOn(m_listenPort).empty(); })) << "a socat remains";
}

TEST_F(WholeSystemTest, ADamagedConfigurationIsSetAsideAndTheServiceStarts) {
    const std::string damaged = "{\"listenPort\": 18082, \"autoStart\": tr";
    fs::create_directories(m_configFile.parent_path());
    std::ofstream(m_configFile) << damaged;
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    std::vector<fs::path> aside;
    for (const auto& entry : fs::directory_iterator(m_configFile.parent_path())) {
        if (entry.path().filename().string().starts_with("config.json.invalid-")) {
            aside.push_back(entry.path());
        }
    }
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(readFile(aside[0]), damaged);
    EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(readFile(m_configFile))),
              ForwarderConfig::defaults());
    EXPECT_EQ(log().find("ERROR"), std::string::npos) << log();
    // Ended without SIGTERM: its stop would act on the default port, which belongs to the user.
}

} // namespace
} // namespace velquor::test
