// qarvexd as a user and systemd treat it: a second forwarder for the same user, signals at any
// moment (also while discovery hangs), a reload, a log path that cannot be written. Runs the
// real qarvexd and socat without root; the target is a plain listening socket.
#include "core/config/ForwarderConfig.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "tests/e2e/WholeSystem.h"
#include "tests/support/DiscoveryServer.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/Wait.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <sys/stat.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Long enough for the daemon's shortest interval (5 s) and a check behind it.
constexpr auto checkDeadline = 20s;

// socat processes whose command line listens on the port, found in /proc rather than through
// the code under test.
std::vector<std::int32_t> socatsListeningOn(std::int64_t port) {
    std::vector<std::int32_t> pids;
    const std::string listen = "TCP-LISTEN:" + std::to_string(port) + ",";
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const auto name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        const auto commandLine = readFile(entry.path() / "cmdline");
        if (fs::path(commandLine.c_str()).filename() == "socat" &&
            commandLine.find(listen) != std::string::npos) {
            pids.push_back(std::stoi(name));
        }
    }
    return pids;
}

class DaemonSignalsTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists("/usr/bin/socat")) {
            GTEST_SKIP() << "socat is not installed (scripts/install-deps installs it)";
        }
    }

    void TearDown() override {
        m_daemon.reset();
        for (const auto port : {m_listenPort, m_movedPort}) {
            for (const auto pid : socatsListeningOn(port)) {
                ::kill(pid, SIGKILL);
            }
        }
    }

    nlohmann::json config(bool autoStart) const {
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = m_listenPort;
        json["recentListenPorts"] = {m_listenPort};
        json["discoveryURL"] = m_discovery.url().text;
        json["checkIntervalSeconds"] = 5;
        json["autoStart"] = autoStart;
        json["target"] = TargetEndpoint("127.0.0.1", m_target.port()).toJson();
        return json;
    }

    void writeConfig(const nlohmann::json& json) const {
        fs::create_directories(m_configFile.parent_path());
        writeFile(m_configFile, json.dump(2));
    }

    void startDaemon() { m_daemon = std::make_unique<DaemonProcess>(m_home.path()); }

    // Forwarding as configured, with discovery answering.
    void startForwarding() {
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
        writeConfig(config(true));
        startDaemon();
        ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
        ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); })) << log();
    }

    void signalDaemon(int signal) const { ::kill(m_daemon->pid(), signal); }

    std::string log() const { return readFile(m_logFile); }
    std::string output(const std::string& program = "qarvexd") const {
        return readFile(m_home / (program + ".out"));
    }

    bool waitForLog(const std::string& text, std::size_t count = 1) const {
        return waitUntil([&] { return occurrences(log(), text) >= count; }, checkDeadline);
    }

    static bool isListening(std::int64_t port) {
        return NetworkPortChecker().isListening("127.0.0.1", port);
    }

    TemporaryDirectory m_home;
    fs::path m_configFile = m_home / ".config" / "Velquor" / "config.json";
    fs::path m_logFile = m_home / ".local" / "state" / "Velquor" / "service.log";
    std::int64_t m_listenPort = freeTcpPort();
    std::int64_t m_movedPort = freeTcpPort();
    LoopbackListener m_target;
    DiscoveryServer m_discovery;
    std::unique_ptr<DaemonProcess> m_daemon;
};

TEST_F(DaemonSignalsTest, ASecondForwarderIsRefusedNamingTheFirstUntilTheFirstIsKilled) {
    writeConfig(config(false));
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    const std::string first = "qarvexd (PID " + std::to_string(m_daemon->pid()) + ")";
    for (const std::string program : {"qarvexd", "qarvex"}) {
        DaemonProcess second(m_home.path(), program == "qarvexd" ? QARVEXD_PATH : QARVEX_PATH);
        EXPECT_EQ(second.waitForExit(30s), 1) << program;
        EXPECT_NE(output(program).find(first), std::string::npos) << output(program);
    }
    EXPECT_EQ(occurrences(log(), "Configuration loaded"), 1u) << "the refused ones loaded nothing";

    // A crashed holder leaves no lock behind.
    signalDaemon(SIGKILL);
    ASSERT_TRUE(m_daemon->waitForExit(10s));
    startDaemon();
    EXPECT_TRUE(waitForLog("Configuration loaded", 2)) << output();
    EXPECT_EQ(m_daemon->terminate(), 0);
}

// Every stop signal ends the service promptly, also while a check waits for a discovery server
// that never answers, and takes the forwarder with it; a SIGPIPE before it changes nothing.
class DaemonStopSignalTest : public DaemonSignalsTest, public ::testing::WithParamInterface<int> {};

TEST_P(DaemonStopSignalTest, EndsDuringAHangingCheckAndLeavesNoSocat) {
    startForwarding();
    m_discovery.setReply({.behaviour = DiscoveryServer::Behaviour::stall});
    const int requests = m_discovery.requestCount();
    ASSERT_TRUE(waitUntil([&] { return m_discovery.requestCount() > requests; }, checkDeadline));
    signalDaemon(SIGPIPE);
    signalDaemon(GetParam());
    // Well before the 8 s request timeout would have let the check end by itself.
    EXPECT_EQ(m_daemon->waitForExit(6s), 0) << log();
    EXPECT_NE(log().find("socat stopped [PID="), std::string::npos) << log();
    EXPECT_TRUE(socatsListeningOn(m_listenPort).empty());
}

INSTANTIATE_TEST_SUITE_P(StopSignals, DaemonStopSignalTest,
                         ::testing::Values(SIGTERM, SIGINT, SIGQUIT));

// The start itself waits for discovery: a stop then must not let it launch a forwarder.
TEST_F(DaemonSignalsTest, AStopDuringTheFirstLookupStartsNothing) {
    m_discovery.setReply({.behaviour = DiscoveryServer::Behaviour::stall});
    writeConfig(config(true)); // with a cached target to fall back to
    startDaemon();
    ASSERT_TRUE(waitUntil([&] { return m_discovery.requestCount() > 0; })) << log();
    EXPECT_EQ(m_daemon->terminate(6s), 0) << log();
    EXPECT_EQ(log().find("socat started"), std::string::npos) << log();
    EXPECT_TRUE(socatsListeningOn(m_listenPort).empty());
}

TEST_F(DaemonSignalsTest, SighupRereadsTheSettingsAndKeepsThemWhenTheFileIsDamaged) {
    startForwarding();
    const auto forwarder = socatsListeningOn(m_listenPort);
    ASSERT_FALSE(forwarder.empty());

    const std::string damaged = "{\"listenPort\": ";
    writeFile(m_configFile, damaged);
    signalDaemon(SIGHUP);
    ASSERT_TRUE(waitForLog("could not be used on reload")) << log();
    std::vector<std::string> aside;
    for (const auto& entry : fs::directory_iterator(m_configFile.parent_path())) {
        if (entry.path().filename().string().starts_with("config.json.invalid-")) {
            aside.push_back(readFile(entry.path()));
        }
    }
    EXPECT_EQ(aside, std::vector<std::string>{damaged});
    EXPECT_EQ(nlohmann::json::parse(readFile(m_configFile))["listenPort"], m_listenPort);
    // (socat forks a child per connection, so the list may hold more than the forwarder.)
    EXPECT_THAT(socatsListeningOn(m_listenPort), ::testing::Contains(forwarder.front()));
    EXPECT_EQ(occurrences(log(), "socat started"), 1u) << "forwarding went on untouched";

    auto moved = config(true);
    moved["listenPort"] = m_movedPort;
    writeConfig(moved);
    signalDaemon(SIGHUP);
    EXPECT_TRUE(waitUntil([&] { return isListening(m_movedPort) && !isListening(m_listenPort); }))
        << log();
    EXPECT_TRUE(waitForLog("Configuration reloaded")) << log();
    EXPECT_TRUE(waitForLog("socat stopped for configuration change [PID=")) << log();
    EXPECT_EQ(m_daemon->terminate(), 0);
    EXPECT_TRUE(socatsListeningOn(m_movedPort).empty());
}

TEST_F(DaemonSignalsTest, TheLogIsPrunedByItsRetentionAtStart) {
    writeConfig(config(false)); // logRetentionDays 1
    fs::create_directories(m_logFile.parent_path());
    writeFile(m_logFile, "[2000-01-01 00:00:00] long ago\n");
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    EXPECT_TRUE(waitUntil([&] { return log().find("long ago") == std::string::npos; })) << log();
    EXPECT_EQ(m_daemon->terminate(), 0);
}

// A FIFO nobody reads as the log would block a plain open for good.
TEST_F(DaemonSignalsTest, AnUnwritableLogIsToldOnceAndTheServiceGoesOn) {
    writeConfig(config(false));
    fs::create_directories(m_logFile.parent_path());
    ASSERT_EQ(::mkfifo(m_logFile.c_str(), 0600), 0);
    startDaemon();
    ASSERT_TRUE(waitUntil([&] {
        return output().find("cannot write the log") != std::string::npos;
    })) << output();
    EXPECT_EQ(m_daemon->terminate(), 0);
    EXPECT_EQ(occurrences(output(), "cannot write the log"), 1u) << output();
}

} // namespace
} // namespace velquor::test
