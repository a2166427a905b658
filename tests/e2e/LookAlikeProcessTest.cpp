// Processes that lsof lists on the listen port and that look like our forwarder, but are not:
// a renamed copy of socat, a socat client connected to the port and a socat listening on
// another address of the same port. The real manager must leave every one of them alone, while
// it does end its own socat and that socat's forked children.
#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/PosixProcessTerminator.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/forwarding/ProcForwarderOwnershipChecker.h"
#include "core/forwarding/SocatManager.h"
#include "tests/e2e/WholeSystem.h"

#include <gmock/gmock.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using ::testing::IsSupersetOf;

const fs::path socatPath = "/usr/bin/socat";

// Killed and reaped, whichever assertion failed first.
std::unique_ptr<harness::ChildProcess> run(const fs::path& program,
                                           const std::vector<std::string>& arguments) {
    return std::make_unique<harness::ChildProcess>(program, arguments, "/dev/null");
}

bool isAlive(std::int32_t pid) {
    return processState(pid).value_or('Z') != 'Z';
}

std::int32_t awaitChildOf(std::int32_t parent) {
    std::vector<std::int32_t> children;
    waitUntil([&] { return !(children = childrenOf(parent)).empty(); });
    return children.empty() ? -1 : children.front();
}

// The fixture's clean-up also ends whatever socat the manager left listening on the port.
class LookAlikeProcessTest
    : public QarvexdTest,
      public ::testing::WithParamInterface<std::pair<std::string, std::string>> {
protected:
    void SetUp() override {
        QarvexdTest::SetUp();
        if (!IsSkipped()) {
            fs::copy_file(socatPath, m_lookAlikePath);
        }
    }

    // The target's backlog holds the relays' connections, so they stay up.
    std::vector<std::string> relay(const std::string& host) const {
        return {"TCP-LISTEN:" + std::to_string(m_listenPort) + ",bind=" + host + ",reuseaddr,fork",
                "TCP:127.0.0.1:" + std::to_string(m_target.port())};
    }

    // A socat connected to the port, which its listener serves with a forked child.
    std::unique_ptr<harness::ChildProcess> connectClient() const {
        return run(socatPath,
                   {"-u", "TCP:" + m_host + ":" + std::to_string(m_listenPort), "/dev/null"});
    }

    bool listens(const std::string& host) const {
        return NetworkPortChecker().isListening(host, m_listenPort);
    }

    const std::string m_host = GetParam().first;
    const std::string m_otherHost = GetParam().second;
    fs::path m_lookAlikePath = m_home / "mysocatd";
    SocatManager m_manager{
        socatPath,
        std::make_unique<NetworkPortChecker>(),
        std::make_unique<PosixSocatProcessLauncher>(),
        std::make_unique<LsofListenerProbe>(LsofListenerProbe::defaultLsofPath()),
        std::make_unique<PosixProcessTerminator>(),
        std::make_unique<ProcForwarderOwnershipChecker>()};
};

TEST_P(LookAlikeProcessTest, OnlyOurOwnSocatAndItsForkedChildrenAreSignalled) {
    auto lookAlike = run(m_lookAlikePath, relay(m_host));
    const auto neighbour = run(socatPath, relay(m_otherHost));
    ASSERT_TRUE(waitUntil([&] { return listens(m_host) && listens(m_otherHost); }));
    const auto client = connectClient();
    // Not our child, but killed all the same when the test ends.
    const harness::ChildProcess lookAlikeChild(awaitChildOf(lookAlike->pid())); // serves the client
    ASSERT_GT(lookAlikeChild.pid(), 0);

    auto config = ForwarderConfig::defaults();
    config.listenHost = m_host;
    config.listenPort = m_listenPort;
    const TargetEndpoint target("127.0.0.1", m_target.port());
    EXPECT_THROW(m_manager.start(config, target), SocatManagerError);
    for (const auto pid :
         {lookAlike->pid(), neighbour->pid(), client->pid(), lookAlikeChild.pid()}) {
        EXPECT_TRUE(isAlive(pid)) << pid << " was signalled";
    }

    // The look-alike's listener goes; its forked child keeps the client's connection.
    lookAlike.reset();
    ASSERT_TRUE(waitUntil([&] { return !listens(m_host); }));
    const auto ours = m_manager.start(config, target);
    ASSERT_TRUE(waitUntil([&] { return listens(m_host); })); // a start does not wait for it
    auto ourClient = connectClient();
    const harness::ChildProcess ourChild(awaitChildOf(ours));

    // Also the children that served the port checks, should they still be on their way out.
    EXPECT_THAT(m_manager.stopProcesses(m_host, m_listenPort),
                IsSupersetOf({ours, ourChild.pid()}));
    ourClient.reset();
    EXPECT_TRUE(waitUntil([&] { return !isAlive(ours) && !isAlive(ourChild.pid()); }));
    for (const auto pid : {neighbour->pid(), client->pid(), lookAlikeChild.pid()}) {
        EXPECT_TRUE(isAlive(pid)) << pid << " was signalled";
    }
}

// With 127.0.0.1 lsof's own host rule hides a listener on another address; with another
// listen host only the ownership check tells them apart.
INSTANTIATE_TEST_SUITE_P(
    LoopbackAddresses, LookAlikeProcessTest,
    ::testing::Values(std::pair<std::string, std::string>{"127.0.0.1", "127.0.0.2"},
                      std::pair<std::string, std::string>{"127.0.0.3", "127.0.0.1"}));

// A stopped socat still holds the port and the kernel completes connections for it, yet every
// client hangs. The next check replaces ours, whether qarvexd started it or found it running.
using StoppedForwarderTest = QarvexdTest;

TEST_F(StoppedForwarderTest, IsReplacedByTheNextCheckAndLeavesNothingBehind) {
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
    writeConfig(config(true));
    for (std::size_t round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round == 1 ? "started by qarvexd" : "found by qarvexd");
        const auto passed = occurrences(log(), "Health check passed");
        startDaemon();
        ASSERT_TRUE(waitForLog("Health check passed", passed + 1)) << log();
        const auto stopped = socatsListeningOn(m_listenPort);
        ASSERT_EQ(stopped.size(), 1u);
        ASSERT_EQ(::kill(stopped[0], SIGSTOP), 0);
        ASSERT_TRUE(waitForLog("Health check restarting missing listener", round)) << log();
        ASSERT_TRUE(waitForLog("socat started", round + 1)) << log();
        // qarvexd reaps its own child; the one it found belongs to init.
        EXPECT_TRUE(waitUntil(
            [&] { return round == 1 ? !processState(stopped[0]) : !isAlive(stopped[0]); }));
        EXPECT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
        m_daemon->signal(SIGKILL); // leaves its socat to be found
        ASSERT_TRUE(m_daemon->waitForExit(std::chrono::seconds(30)));
    }
}

} // namespace
} // namespace velquor::test
