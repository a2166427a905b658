#include "core/forwarding/SocatManager.h"

#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/PortLockClaim.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/forwarding/SystemAddressResolver.h"
#include "tests/support/ChildProcessGuard.h"
#include "tests/support/FakeForwarding.h"
#include "tests/support/Files.h"
#include "tests/support/Network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <unistd.h>

namespace velquor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

TEST_F(SocatManagerTest, StartsOnAFreePortThenRestartsAndStopsItsChild) {
    const auto pid = m_manager->start(m_config, target);
    EXPECT_EQ(m_machine.portChecks, 2) << "no wait for the child to listen";
    ASSERT_EQ(m_machine.launched.size(), 1u);
    EXPECT_EQ(m_machine.launched[0].executableURL, "/usr/bin/socat");
    EXPECT_THAT(m_machine.launched[0].arguments,
                ElementsAre("TCP-LISTEN:18082,bind=127.0.0.1,reuseaddr,fork",
                            "TCP:10.0.0.5:3260,nodelay,keepalive"));
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port), SocatRuntimeStatus::trackedSocat(pid));

    const auto next = m_manager->restart(m_config, TargetEndpoint("10.0.0.6", 3260));
    EXPECT_FALSE(m_machine.isAlive(pid));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), next);
    EXPECT_EQ(m_machine.launched.back().arguments[1], "TCP:10.0.0.6:3260,nodelay,keepalive");

    m_manager->stop();
    EXPECT_FALSE(m_machine.isAlive(next));
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), std::nullopt);
    expectManagerError([&] { m_manager->stop(); }, SocatManagerError::noTrackedProcess());
    expectManagerError([&] { m_manager->stopProcesses(m_host, m_port); },
                       SocatManagerError::noTrackedProcess());
    EXPECT_EQ(m_manager->runtimeStatus(m_host, m_port), SocatRuntimeStatus::notListening());
    m_machine.probeFails = true;
    EXPECT_THROW(m_manager->runtimeStatus(m_host, m_port), std::system_error);
}

TEST_F(SocatManagerTest, ASecondStartRefusesWhileTheChildRunsAndReplacesOneThatEnded) {
    const auto old = m_manager->start(m_config, target);
    m_machine.portChecks = 0;
    expectManagerError([&] { m_manager->start(m_config, target); },
                       SocatManagerError::processAlreadyRunning());
    EXPECT_EQ(m_machine.portChecks, 0);

    m_machine.kill(old);
    m_machine.launchFails = true;
    EXPECT_THROW(m_manager->start(m_config, target), std::system_error);
    EXPECT_EQ(m_manager->trackedProcessIdentifier(), old) << "a failed launch keeps it as it was";
    m_machine.launchFails = false;
    const auto pid = m_manager->start(m_config, target);
    EXPECT_NE(pid, old);
    EXPECT_THAT(m_machine.events, ElementsAre("launch 4242", "launch 4243")) << "no signal";
}

TEST_F(SocatManagerTest, AStaleSocatIsSignalledAndTheLaunchFollowsItsExit) {
    m_machine.spawn("socat", m_port);
    m_machine.spawn("socat", m_port, false); // a connection to the port
    m_manager->start(m_config, target);
    EXPECT_THAT(m_machine.events, ElementsAre("SIGTERM 4242", "SIGTERM 4243", "launch 4244"));
    EXPECT_EQ(m_machine.portChecks, 3) << "first check, one wait, the second check";
}

TEST_F(SocatManagerTest, ASocatThatWillNotGoIsWaitedForTenTimesThenRefused) {
    m_machine.stubborn.insert(m_machine.spawn("socat", m_port));
    expectManagerError([&] { m_manager->start(m_config, target); }, m_occupied);
    EXPECT_EQ(m_machine.portChecks, 1 + SocatManager::portReleaseAttempts + 1);
    EXPECT_THAT(m_machine.launched, IsEmpty());
}

// Another program, a look-alike listed by lsof, or a socat not provably our forwarder when the
// signal would go out: the port is refused, and nothing is signalled.
TEST_F(SocatManagerTest, APortNotHeldByOurForwarderIsRefusedUntouched) {
    using Mark = std::set<std::int32_t> test::FakeMachine::*;
    using Status = SocatRuntimeStatus;
    const std::vector<std::tuple<std::string, Mark, bool, Status>> cases = {
        {"nginx", nullptr, true, Status::occupiedByUnknownProcess("nginx", 4242)},
        {"mysocatd", nullptr, true, Status::externalSocat(4242)},
        {"SOCAT", nullptr, true, Status::externalSocat(4242)},
        // A client, or bound to another address.
        {"socat", &test::FakeMachine::elsewhere, true, Status::externalSocat(4242)},
        // Its identifier changed hands meanwhile.
        {"socat", &test::FakeMachine::reused, true, Status::externalSocat(4242)},
        // Without a probe nothing on the port can be recognised.
        {"socat", nullptr, false, Status::occupiedByUnknownProcess("unknown", 0)},
    };
    for (const auto& [name, mark, probed, status] : cases) {
        SCOPED_TRACE(name + (mark ? " marked" : "") + (probed ? "" : " without a probe"));
        test::FakeMachine machine;
        const auto manager =
            probed ? test::makeFakeSocatManager(machine)
                   : std::make_unique<SocatManager>(
                         "/usr/bin/socat", std::make_unique<test::FakePortChecker>(machine),
                         std::make_unique<test::FakeSocatLauncher>(machine), nullptr, nullptr);
        const auto pid = machine.spawn(name, m_port);
        if (mark) {
            (machine.*mark).insert(pid);
        }
        expectManagerError([&] { manager->start(m_config, target); }, m_occupied);
        expectManagerError([&] { manager->stopProcesses(m_host, m_port); },
                           SocatManagerError::noTrackedProcess());
        EXPECT_THAT(machine.events, IsEmpty());
        EXPECT_TRUE(machine.isAlive(pid));
        EXPECT_EQ(manager->runtimeStatus(m_host, m_port), status);
    }
}

// Forwarding to our own listener makes socat fork a relay per relay until no process is left.
// Exactly the targets that lead there are refused, before the stale forwarder is signalled.
TEST_F(SocatManagerTest, RefusesExactlyTheTargetsThatReachOurListener) {
    const std::tuple<std::string, std::string, std::int64_t, bool> cases[] = {
        {"127.0.0.1", "localhost", 18082, true},
        {"127.0.0.1", "vm", 18082, true}, // this machine's name
        {"127.0.0.1", "127.1", 18082, true},
        {"127.0.0.1", "0.0.0.0", 18082, true},
        {"127.0.0.1", "[::ffff:127.0.0.1]", 18082, true},
        {"0.0.0.0", "127.0.0.2", 18082, true},
        {"0.0.0.0", "lan", 18082, true},
        {"[::]", "127.0.0.1", 18082, true},
        {"[::]", "[fd00::2]", 18082, true},
        {"192.0.2.2", "lan", 18082, true},
        {"[::1]", "[::]", 18082, true},
        {"localhost", "127.0.0.1", 18082, true},
        {"127.0.0.1", "127.0.0.2", 18082, false},
        {"192.0.2.2", "127.0.0.1", 18082, false},
        {"127.0.0.1", "localhost", 18083, false},
        {"0.0.0.0", "[::1]", 18082, false},
        {"0.0.0.0", "10.0.0.5", 18082, false},
        {"localhost", "[::1]", 18082, false}, // socat listens on IPv4 only
        {"127.0.0.1", "nowhere.invalid", 18082, false},
    };
    for (const auto& [listenHost, host, port, refused] : cases) {
        SCOPED_TRACE(listenHost + " -> " + host + ":" + std::to_string(port));
        test::FakeMachine machine;
        const auto manager = test::makeFakeSocatManager(
            machine, std::make_unique<test::FakeAddressResolver>(
                         std::map<std::string, std::vector<std::string>>{
                             {"localhost", {"127.0.0.1", "[::1]"}},
                             {"vm", {"127.0.0.1"}},
                             {"lan", {"192.0.2.2"}}},
                         std::vector<std::string>{"127.0.0.1", "[::1]", "192.0.2.2", "[fd00::2]"}));
        const auto stale = machine.spawn("socat", m_port);
        m_config.listenHost = listenHost;
        if (refused) {
            expectManagerError([&] { manager->start(m_config, TargetEndpoint(host, port)); },
                               SocatManagerError::targetReachesListener(host, port));
            EXPECT_TRUE(machine.isAlive(stale));
        } else {
            EXPECT_NO_THROW(manager->start(m_config, TargetEndpoint(host, port)));
        }
    }
    // The system's resolver, with the names it gives this machine.
    char name[256] = {};
    ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
    m_config.listenHost = "0.0.0.0";
    const auto manager =
        test::makeFakeSocatManager(m_machine, std::make_unique<SystemAddressResolver>());
    for (const std::string& host : {std::string("localhost"), std::string(name)}) {
        expectManagerError([&] { manager->start(m_config, TargetEndpoint(host, m_port)); },
                           SocatManagerError::targetReachesListener(host, m_port));
    }
}

// The real launcher, and socat refused its bind address (not one of this machine's): the
// start does not wait, and the exited child stays tracked, seen as nothing listening.
TEST(SocatManagerLaunch, AChildThatEndsAtOnceStaysTrackedAsNotListening) {
    SocatManager manager("/usr/bin/socat", std::make_unique<NetworkPortChecker>(),
                         std::make_unique<PosixSocatProcessLauncher>(), nullptr, nullptr);
    auto config = ForwarderConfig::defaults();
    config.listenHost = "192.0.2.1";
    config.listenPort = test::freeTcpPort();
    const auto pid = manager.start(config, target);
    EXPECT_TRUE(test::waitUntil([&] {
        return manager.runtimeStatus(config.listenHost, config.listenPort) ==
               SocatRuntimeStatus::notListening();
    }));
    EXPECT_EQ(manager.trackedProcessIdentifier(), pid);
}

// Another program's claim on the port, here a socat holding its name: nothing is signalled.
TEST_F(SocatManagerTest, APortAnotherProgramClaimedIsRefusedUntouched) {
    m_config.listenPort = test::freeTcpPort();
    const auto name = "com.dravenloe.velquor.port." + std::to_string(m_config.listenPort);
    SocatCommand holding("/usr/bin/socat", m_host, m_port, target);
    holding.arguments = {"ABSTRACT-LISTEN:" + name + ",fork", "SYSTEM:true"};
    test::ChildProcessGuard other(PosixSocatProcessLauncher().launch(holding));
    ASSERT_TRUE(test::waitUntil(
        [&] { return test::readFile("/proc/net/unix").find(name) != std::string::npos; }));
    SocatManager manager("/usr/bin/socat", std::make_unique<test::FakePortChecker>(m_machine),
                         std::make_unique<test::FakeSocatLauncher>(m_machine), nullptr, nullptr,
                         nullptr, nullptr, std::make_unique<PortLockClaim>());
    expectManagerError([&] { manager.start(m_config, target); },
                       SocatManagerError::portClaimedByAnotherProgram(
                           m_config.listenPort, "socat (PID " + std::to_string(other.pid()) + ")"));
    EXPECT_TRUE(m_machine.launched.empty());
}

// Our own child that cannot be signalled is forgotten all the same, and the failure kept.
TEST_F(SocatManagerTest, AChildThatCannotBeSignalledIsForgottenAndReported) {
    for (const bool byPort : {false, true}) {
        const auto pid = m_manager->start(m_config, target);
        m_machine.foreign.insert(pid);
        if (byPort) {
            EXPECT_THAT(m_manager->stopProcesses(m_host, m_port), ElementsAre(pid));
        } else {
            EXPECT_NO_THROW(m_manager->stop());
        }
        EXPECT_EQ(m_manager->trackedProcessIdentifier(), std::nullopt);
        EXPECT_EQ(m_manager->takeTerminationFailure(),
                  "terminating process " + std::to_string(pid) + ": Operation not permitted");
        EXPECT_EQ(m_manager->takeTerminationFailure(), std::nullopt);
        m_machine.kill(pid);
    }
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
    EXPECT_EQ(SocatManagerError::portOccupiedByUnknownProcess("127.0.0.1", 18082).what(),
              std::string("portOccupiedByUnknownProcess(host: \"127.0.0.1\", port: 18082)"));
    EXPECT_EQ(SocatManagerError::targetReachesListener("vm", 18082).what(),
              std::string(R"(targetReachesListener(host: "vm", port: 18082))"));
    EXPECT_EQ(
        SocatManagerError::portClaimedByAnotherProgram(18082, "qarvex (PID 7)").what(),
        std::string(R"x(portClaimedByAnotherProgram(port: 18082, holder: "qarvex (PID 7)"))x"));
}

// lsof lists a forwarder once per socket and in no particular order: here every process twice,
// the first time backwards. Stubborn processes stay listed, so a second signal would show.
class ListedTwiceProbe : public test::FakeListenerProbe {
public:
    using FakeListenerProbe::FakeListenerProbe;
    std::vector<ListenerProcess> processes(const std::string& host, std::int64_t port) override {
        const auto once = FakeListenerProbe::processes(host, port);
        std::vector<ListenerProcess> listed(once.rbegin(), once.rend());
        listed.insert(listed.end(), once.begin(), once.end());
        return listed;
    }
};

TEST_F(SocatManagerTest, StopSignalsEachSocatOnceAndReturnsSortedIdentifiers) {
    for (const bool external : {false, true}) {
        SCOPED_TRACE(external ? "external" : "all");
        test::FakeMachine machine;
        SocatManager manager("/usr/bin/socat", std::make_unique<test::FakePortChecker>(machine),
                             std::make_unique<test::FakeSocatLauncher>(machine),
                             std::make_unique<ListedTwiceProbe>(machine),
                             std::make_unique<test::FakeProcessTerminator>(machine),
                             std::make_unique<test::FakeOwnershipChecker>(machine));
        const auto ours = manager.start(m_config, target);
        machine.spawn("socat", m_port);
        machine.spawn("nginx", m_port);
        machine.spawn("socat", m_port, false);
        machine.stubborn = {4242, 4243, 4245};
        const auto stopped = external ? manager.stopExternalSocatProcesses(m_host, m_port)
                                      : manager.stopProcesses(m_host, m_port);
        EXPECT_THAT(stopped, ElementsAre(4242, 4243, 4245));
        // The tracked child is signalled as ours first; an external stop leaves it tracked.
        EXPECT_THAT(
            machine.events,
            external ? ElementsAre("launch 4242", "SIGTERM 4245", "SIGTERM 4243", "SIGTERM 4242")
                     : ElementsAre("launch 4242", "SIGTERM 4242", "SIGTERM 4245", "SIGTERM 4243"));
        EXPECT_EQ(manager.trackedProcessIdentifier(),
                  external ? std::optional(ours) : std::nullopt);
    }
}

} // namespace
} // namespace velquor
