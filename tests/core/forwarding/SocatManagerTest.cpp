#include "core/forwarding/SocatManager.h"

#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "tests/support/FakeForwarding.h"
#include "tests/support/Network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace velquor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Return;

const TargetEndpoint target("10.0.0.5", 3260);

template <typename Action>
void expectManagerError(Action action, const SocatManagerError& expected) {
    try {
        action();
        FAIL() << "expected " << expected.what();
    } catch (const SocatManagerError& error) {
        EXPECT_EQ(error, expected) << error.what();
    }
}

class SocatManagerTest : public ::testing::Test {
protected:
    ForwarderConfig m_config = ForwarderConfig::defaults();
    std::string m_host = m_config.listenHost;
    std::int64_t m_port = m_config.listenPort;
    SocatManagerError m_occupied =
        SocatManagerError::portOccupiedByUnknownProcess("127.0.0.1", 18082);
    test::FakeMachine m_machine;
    std::unique_ptr<SocatManager> m_manager = test::makeFakeSocatManager(m_machine);
};

TEST_F(SocatManagerTest, StartOnAFreePortChecksTwiceAndTracksTheChild) {
    const auto pid = m_manager->start(m_config, target);
    EXPECT_EQ(m_machine.portChecks, 2 + 1) << "and once more to see the child listen";
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), pid);
    ASSERT_EQ(m_machine.launched.size(), 1u);
    EXPECT_EQ(m_machine.launched[0].executableURL, "/usr/bin/socat");
    EXPECT_THAT(m_machine.launched[0].arguments,
                ElementsAre("TCP-LISTEN:18082,bind=127.0.0.1,reuseaddr,fork",
                            "TCP:10.0.0.5:3260,nodelay,keepalive"));
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port), SocatRuntimeStatus::trackedSocat(pid));
}

TEST_F(SocatManagerTest, StartWhileTheChildRunsRefusesWithoutTouchingThePort) {
    m_manager->start(m_config, target);
    m_machine.portChecks = 0;
    expectManagerError([&] { m_manager->start(m_config, target); },
                       SocatManagerError::processAlreadyRunning());
    EXPECT_EQ(m_machine.portChecks, 0);
    EXPECT_EQ(m_machine.launched.size(), 1u);
}

TEST_F(SocatManagerTest, AnExitedChildIsReplacedWithoutASignal) {
    const auto old = m_manager->start(m_config, target);
    m_machine.kill(old);
    const auto pid = m_manager->start(m_config, target);
    EXPECT_NE(pid, old);
    EXPECT_THAT(m_machine.events, ElementsAre("launch 4242", "launch 4243"));
}

TEST_F(SocatManagerTest, AStaleSocatIsSignalledAndTheLaunchFollowsItsExit) {
    const auto stale = m_machine.spawn("socat", m_port);
    const auto connection = m_machine.spawn("socat", m_port, false);
    const auto pid = m_manager->start(m_config, target);
    EXPECT_THAT(m_machine.events, ElementsAre("SIGTERM " + std::to_string(stale),
                                              "SIGTERM " + std::to_string(connection),
                                              "launch " + std::to_string(pid)));
    EXPECT_EQ(m_machine.portChecks, 4) << "first check, one wait, the second check, listening";
}

TEST_F(SocatManagerTest, ASocatThatWillNotGoIsWaitedForTenTimesThenRefused) {
    m_machine.stubborn.insert(m_machine.spawn("socat", m_port));
    expectManagerError([&] { m_manager->start(m_config, target); }, m_occupied);
    EXPECT_EQ(m_machine.portChecks, 1 + SocatManager::portReleaseAttempts + 1);
    EXPECT_THAT(m_machine.launched, IsEmpty());
}

TEST_F(SocatManagerTest, APortHeldByAnotherProgramIsRefusedAndNothingIsSignalled) {
    const auto nginx = m_machine.spawn("nginx", m_port);
    expectManagerError([&] { m_manager->start(m_config, target); }, m_occupied);
    EXPECT_THAT(m_machine.events, IsEmpty());
    EXPECT_TRUE(m_machine.isAlive(nginx));
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port),
              SocatRuntimeStatus::occupiedByUnknownProcess("nginx", nginx));
}

// Listed by lsof as socat-like, but not provably our forwarder when the signal would go out.
TEST_F(SocatManagerTest, LookAlikesAreNeverSignalled) {
    const std::vector<std::pair<std::string, std::set<std::int32_t> test::FakeMachine::*>> cases = {
        {"mysocatd", nullptr},
        {"SOCAT", nullptr},
        {"socat", &test::FakeMachine::elsewhere}, // a client, or bound to another address
        {"socat", &test::FakeMachine::reused},    // its identifier changed hands meanwhile
    };
    for (const auto& [name, mark] : cases) {
        SCOPED_TRACE(name);
        test::FakeMachine machine;
        const auto manager = test::makeFakeSocatManager(machine);
        const auto pid = machine.spawn(name, m_port);
        if (mark) {
            (machine.*mark).insert(pid);
        }
        expectManagerError([&] { manager->start(m_config, target); }, m_occupied);
        expectManagerError([&] { manager->stopProcesses(m_host, m_port); },
                           SocatManagerError::noTrackedProcess());
        EXPECT_THAT(machine.events, IsEmpty());
    }
}

TEST_F(SocatManagerTest, AChildThatEndsDuringStartIsAFailedStartAndForgotten) {
    m_machine.launchExitStatus = 1;
    expectManagerError([&] { m_manager->start(m_config, target); },
                       SocatManagerError::processExitedDuringStart(1));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), std::nullopt);
    EXPECT_EQ(SocatManagerError::processExitedDuringStart(1).what(),
              std::string("processExitedDuringStart(status: 1)"));
}

// The real launcher: a program that exits at once, and socat refused its bind address.
TEST(SocatManagerLaunch, AChildThatEndsDuringStartFailsWithItsExitStatus) {
    const std::vector<std::tuple<std::string, std::string, int>> cases = {
        {"/bin/false", "127.0.0.1", 1},
        {"/bin/true", "127.0.0.1", 0},
        {"/usr/bin/socat", "192.0.2.1", 1}, // not an address of this machine
    };
    for (const auto& [program, host, status] : cases) {
        SCOPED_TRACE(program);
        SocatManager manager(program, std::make_unique<NetworkPortChecker>(),
                             std::make_unique<PosixSocatProcessLauncher>(), nullptr, nullptr);
        auto config = ForwarderConfig::defaults();
        config.listenHost = host;
        config.listenPort = test::freeTcpPort();
        expectManagerError([&] { manager.start(config, target); },
                           SocatManagerError::processExitedDuringStart(status));
        EXPECT_EQ(manager.trackedProcessIdentifier(), std::nullopt);
    }
}

// Our own child that cannot be signalled is forgotten all the same, and the failure kept.
TEST_F(SocatManagerTest, AChildThatCannotBeSignalledIsForgottenAndReported) {
    const std::vector<std::function<void(std::int32_t)>> stops = {
        [&](std::int32_t) { m_manager->stop(); },
        [&](std::int32_t pid) {
            EXPECT_THAT(m_manager->stopProcesses(m_host, m_port), ElementsAre(pid));
        },
    };
    for (const auto& stop : stops) {
        const auto pid = m_manager->start(m_config, target);
        m_machine.foreign.insert(pid);
        EXPECT_NO_THROW(stop(pid));
        EXPECT_EQ(m_manager->trackedProcessIdentifier(), std::nullopt);
        EXPECT_EQ(m_manager->takeTerminationFailure(),
                  "terminating process " + std::to_string(pid) + ": Operation not permitted");
        EXPECT_EQ(m_manager->takeTerminationFailure(), std::nullopt);
        m_machine.kill(pid);
    }
}

TEST_F(SocatManagerTest, WithoutAProbeNothingOnThePortCanBeRecognised) {
    SocatManager blind("/usr/bin/socat", std::make_unique<test::FakePortChecker>(m_machine),
                       std::make_unique<test::FakeSocatLauncher>(m_machine), nullptr, nullptr);
    m_machine.spawn("socat", m_port);
    expectManagerError([&] { blind.start(m_config, target); }, m_occupied);
    EXPECT_EQ(blind.runtimeStatus(m_host, m_port),
              SocatRuntimeStatus::occupiedByUnknownProcess("unknown", 0));
    expectManagerError([&] { blind.stopProcesses(m_host, m_port); },
                       SocatManagerError::noTrackedProcess());
    EXPECT_THAT(m_machine.events, IsEmpty());
}

TEST_F(SocatManagerTest, ALaunchFailureKeepsTheTrackedChildAsItWas) {
    const auto old = m_manager->start(m_config, target);
    m_machine.kill(old);
    m_machine.launchFails = true;
    EXPECT_THROW(m_manager->start(m_config, target), std::system_error);
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), old);
}

TEST_F(SocatManagerTest, StopForgetsTheChildAndASecondStopHasNothingToStop) {
    const auto pid = m_manager->start(m_config, target);
    m_manager->stop();
    EXPECT_FALSE(m_machine.isAlive(pid));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), std::nullopt);
    expectManagerError([&] { m_manager->stop(); }, SocatManagerError::noTrackedProcess());
    expectManagerError([&] { m_manager->stopProcesses(m_host, m_port); },
                       SocatManagerError::noTrackedProcess());
}

TEST_F(SocatManagerTest, StopExternalLeavesTheTrackedObjectButSignalsItsPidOnce) {
    const auto ours = m_manager->start(m_config, target);
    const auto other = m_machine.spawn("socat", m_port);
    EXPECT_THAT(m_manager->stopExternalSocatProcesses(m_host, m_port), ElementsAre(ours, other));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), ours);
    EXPECT_THAT(m_machine.events, ElementsAre("launch 4242", "SIGTERM 4242", "SIGTERM 4243"));
}

TEST_F(SocatManagerTest, RestartEndsTheChildAndStartsAnother) {
    const auto old = m_manager->start(m_config, target);
    const auto pid = m_manager->restart(m_config, TargetEndpoint("10.0.0.6", 3260));
    EXPECT_FALSE(m_machine.isAlive(old));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), pid);
    EXPECT_EQ(m_machine.launched.back().arguments[1], "TCP:10.0.0.6:3260,nodelay,keepalive");
}

TEST_F(SocatManagerTest, RuntimeStatusTellsForwardersFromOtherPrograms) {
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port), SocatRuntimeStatus::notListening());
    const auto loud = m_machine.spawn("SOCAT", m_port);
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port), SocatRuntimeStatus::externalSocat(loud));
    m_machine.kill(loud);
    m_machine.probeFails = true;
    EXPECT_THROW(m_manager->runtimeStatus(m_host, m_port), std::system_error);
}

TEST(SocatRuntimeStatusText, DisplayAndLogTexts) {
    const std::vector<std::tuple<SocatRuntimeStatus, std::string, std::string>> cases = {
        {SocatRuntimeStatus::trackedSocat(42), "App 启动的 socat [PID=42]", "trackedSocat(pid=42)"},
        {SocatRuntimeStatus::externalSocat(7), "检测到已有 socat [PID=7]", "externalSocat(pid=7)"},
        {SocatRuntimeStatus::occupiedByUnknownProcess("nginx", 812), "端口被 nginx 占用 [PID=812]",
         "occupiedByUnknownProcess(name=nginx, pid=812)"},
        {SocatRuntimeStatus::occupiedByUnknownProcess("unknown", 0), "端口被未知进程占用",
         "occupiedByUnknownProcess(name=unknown, pid=0)"},
        {SocatRuntimeStatus::notListening(), "未监听", "notListening"},
    };
    for (const auto& [status, display, log] : cases) {
        EXPECT_EQ(status.displayText(), display);
        EXPECT_EQ(status.logText(), log);
    }
    EXPECT_EQ(SocatRuntimeStatus::trackedSocat(0).processIdentifier(), std::nullopt);
    EXPECT_EQ(SocatManagerError::portOccupiedByUnknownProcess("::1", 18082).what(),
              std::string("portOccupiedByUnknownProcess(host: \"::1\", port: 18082)"));
}

// lsof lists a forwarder once per socket and in no particular order.
class ListedProbe : public ListenerProbing {
public:
    MOCK_METHOD(std::optional<ListenerProcess>, listener, (const std::string&, std::int64_t),
                (override));
    MOCK_METHOD(std::vector<ListenerProcess>, processes, (const std::string&, std::int64_t),
                (override));
};
class RecordingTerminator : public ProcessTerminating {
public:
    MOCK_METHOD(void, terminate, (std::int32_t), (override));
};
class FixedProcess : public SocatProcess {
public:
    bool isRunning() override { return true; }
    std::int32_t processIdentifier() const override { return 4711; }
    MOCK_METHOD(void, terminate, (), (override));
    std::optional<int> exitStatus() override { return std::nullopt; }
};
class FixedLauncher : public SocatProcessLaunching {
public:
    explicit FixedLauncher(test::FakeMachine& machine) : m_machine(machine) {}
    std::unique_ptr<SocatProcess> launch(const SocatCommand&) override {
        m_machine.spawn("listener", 18082);
        auto process = std::make_unique<FixedProcess>();
        EXPECT_CALL(*process, terminate()).Times(1);
        return process;
    }

private:
    test::FakeMachine& m_machine;
};
// Every socat listed is ours.
class TrustingChecker : public ForwarderOwnershipChecking {
public:
    std::optional<ProcessIdentity> forwarderIdentity(std::int32_t pid, const std::string&,
                                                     std::int64_t) override {
        return ProcessIdentity{pid, 1};
    }
    bool isStillForwarder(const ProcessIdentity&) override { return true; }
};

TEST(SocatManagerStopOrder, SignalsEachSocatOnceAndReturnsSortedIdentifiers) {
    test::FakeMachine machine;
    auto probe = std::make_unique<ListedProbe>();
    auto terminator = std::make_unique<RecordingTerminator>();
    EXPECT_CALL(*probe, processes("127.0.0.1", 18082))
        .WillOnce(Return(std::vector<ListenerProcess>{
            {"socat", 4711}, {"socat", 5000}, {"nginx", 80}, {"socat", 4900}, {"socat", 5000}}));
    {
        ::testing::InSequence order;
        EXPECT_CALL(*terminator, terminate(5000));
        EXPECT_CALL(*terminator, terminate(4900));
    }
    SocatManager manager("/usr/bin/socat", std::make_unique<test::FakePortChecker>(machine),
                         std::make_unique<FixedLauncher>(machine), std::move(probe),
                         std::move(terminator), std::make_unique<TrustingChecker>());
    manager.start(ForwarderConfig::defaults(), target);
    EXPECT_THAT(manager.stopProcesses("127.0.0.1", 18082), ElementsAre(4711, 4900, 5000));
    EXPECT_EQ(manager.trackedProcessIdentifier(), std::nullopt);
}

} // namespace
} // namespace velquor
