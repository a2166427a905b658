// qarvexd as a user and systemd treat it: a second forwarder for the same user, signals at any
// moment (also while discovery hangs), a reload, a log path that cannot be written. Runs the
// real qarvexd and socat without root; the target is a plain listening socket.
#include "core/logging/LogManager.h"
#include "tests/e2e/WholeSystem.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class DaemonSignalsTest : public QarvexdTest {
protected:
    // Forwarding as configured, with discovery answering.
    void startForwarding() {
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
        writeConfig(config(true));
        startDaemon();
        ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
        ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); })) << log();
    }
};

TEST_F(DaemonSignalsTest, ASecondForwarderIsRefusedNamingTheFirstUntilTheFirstIsKilled) {
    writeConfig(config(false));
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    const std::string first = "qarvexd (PID " + std::to_string(m_daemon->pid()) + ")";
    for (const std::string program : {"qarvexd", "qarvex"}) {
        const auto second =
            launch(m_home.path(), program == "qarvexd" ? QARVEXD_PATH : QARVEX_PATH);
        EXPECT_EQ(second->waitForExit(30s), 1) << program;
        EXPECT_NE(output(program).find(first), std::string::npos) << output(program);
    }
    EXPECT_EQ(occurrences(log(), "Configuration loaded"), 1u) << "the refused ones loaded nothing";

    // A crashed holder leaves no lock behind.
    m_daemon->signal(SIGKILL);
    ASSERT_TRUE(m_daemon->waitForExit(10s));
    startDaemon();
    EXPECT_TRUE(waitForLog("Configuration loaded", 2)) << output();
    EXPECT_EQ(terminate(), 0);
}

// Every stop signal ends the service promptly while a lookup waits for a discovery server that
// never answers, and the signals before it, whose default action would have ended it and left
// the forwarder behind, change nothing. At start a stop must not let it launch a forwarder, not
// even to the cached target; in a check it takes the forwarder with it.
class DaemonStopSignalTest : public DaemonSignalsTest, public ::testing::WithParamInterface<int> {
protected:
    void sendHarmlessSignals() const {
        for (const int signal : {SIGPIPE, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGIO,
                                 SIGPWR, SIGSTKFLT, SIGXCPU, SIGXFSZ, SIGRTMIN, SIGRTMAX}) {
            m_daemon->signal(signal);
        }
    }
};

TEST_P(DaemonStopSignalTest, EndsDuringAHangingLookupAtStartAndInACheckAndLeavesNoSocat) {
    m_discovery.setReply({.behaviour = DiscoveryServer::Behaviour::stall});
    writeConfig(config(true));
    startDaemon();
    ASSERT_TRUE(waitUntil([&] { return m_discovery.requestCount() > 0; })) << log();
    sendHarmlessSignals();
    m_daemon->signal(GetParam());
    // Well before the 8 s request timeout would have let the lookup end by itself.
    EXPECT_EQ(m_daemon->waitForExit(6s), 0) << log();
    EXPECT_EQ(log().find("socat started"), std::string::npos) << log();

    startForwarding();
    m_discovery.setReply({.behaviour = DiscoveryServer::Behaviour::stall});
    const int requests = m_discovery.requestCount();
    ASSERT_TRUE(waitUntil([&] { return m_discovery.requestCount() > requests; }, 20s));
    sendHarmlessSignals();
    m_daemon->signal(GetParam());
    EXPECT_EQ(m_daemon->waitForExit(6s), 0) << log();
    EXPECT_NE(log().find("socat stopped [PID="), std::string::npos) << log();
    EXPECT_TRUE(socatsListeningOn(m_listenPort).empty());
}

INSTANTIATE_TEST_SUITE_P(StopSignals, DaemonStopSignalTest,
                         ::testing::Values(SIGTERM, SIGINT, SIGQUIT));

TEST_F(DaemonSignalsTest, SighupRereadsTheSettingsAndKeepsThemWhenTheFileIsDamaged) {
    startForwarding();
    const auto forwarder = socatsListeningOn(m_listenPort);
    ASSERT_FALSE(forwarder.empty());

    const std::string damaged = "{\"listenPort\": ";
    writeFile(m_configFile, damaged);
    m_daemon->signal(SIGHUP);
    ASSERT_TRUE(waitForLog("could not be used on reload")) << log();
    const auto aside = asideFiles(m_configFile.parent_path());
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(readFile(aside[0]), damaged);
    EXPECT_EQ(nlohmann::json::parse(readFile(m_configFile))["listenPort"], m_listenPort);
    // (socat forks a child per connection, so the list may hold more than the forwarder.)
    EXPECT_THAT(socatsListeningOn(m_listenPort), ::testing::Contains(forwarder.front()));
    EXPECT_EQ(occurrences(log(), "socat started"), 1u) << "forwarding went on untouched";
    const auto checks = occurrences(log(), "Health check passed");
    m_daemon->signal(SIGUSR1);
    EXPECT_TRUE(waitForLog("Health check early: asked by SIGUSR1")) << log();
    // The check ends by storing the target it found; the edit below comes after it.
    EXPECT_TRUE(waitForLog("Health check passed", checks + 1)) << log();

    auto moved = config(true);
    moved["listenPort"] = m_movedPort;
    writeConfig(moved);
    m_daemon->signal(SIGHUP);
    EXPECT_TRUE(waitUntil([&] { return isListening(m_movedPort) && !isListening(m_listenPort); }))
        << log();
    EXPECT_TRUE(waitForLog("Configuration reloaded")) << log();
    EXPECT_TRUE(waitForLog("socat stopped for configuration change [PID=")) << log();

    // Past what a clock count can add to now: checks wait the longest a timer can hold.
    moved["checkIntervalSeconds"] = 10'000'000'000;
    writeConfig(moved);
    m_daemon->signal(SIGHUP);
    ASSERT_TRUE(waitForLog("Configuration reloaded", 2)) << log();
    const int requests = m_discovery.requestCount();
    EXPECT_FALSE(waitUntil([&] { return m_discovery.requestCount() > requests + 1; }, 3s));
    EXPECT_EQ(terminate(), 0);
    EXPECT_TRUE(socatsListeningOn(m_movedPort).empty());
}

TEST_F(DaemonSignalsTest, TheLogIsPrunedByItsRetentionAtStart) {
    writeConfig(config(false)); // logRetentionDays 1
    fs::create_directories(m_logFile.parent_path());
    writeFile(m_logFile, "[2000-01-01 00:00:00] long ago\n");
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    EXPECT_TRUE(waitUntil([&] { return log().find("long ago") == std::string::npos; })) << log();
    EXPECT_EQ(terminate(), 0);
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
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(occurrences(output(), "cannot write the log"), 1u) << output();
    EXPECT_TRUE(LogManager::parseBracketTimestamp(output())) << "stamped outside the journal";
}

} // namespace
} // namespace velquor::test
