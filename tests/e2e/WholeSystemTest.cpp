// The real programs together: qarvexd, socat, lsof, a loopback discovery server, tgtd as the
// iSCSI target and libiscsi's iscsi-inq as the initiator.
#include "tests/e2e/WholeSystem.h"

#include "support/harness/IscsiTarget.h"

#include <unistd.h>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using harness::IscsiTarget;

using WholeSystemTest = QarvexdTest;

// The tests that reach a real iSCSI target through the forwarder.
class WholeSystemWithTargetTest : public QarvexdTest {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "tgtd needs root to run an iSCSI target";
        }
        requireTools({"socat", "lsof", "env", "tgtd", "tgtadm", "iscsi-inq"});
    }

    std::string route(const IscsiTarget& target) const {
        return "127.0.0.1:" + std::to_string(m_listenPort) +
               " -> 127.0.0.1:" + std::to_string(target.port());
    }

    // What iscsi-inq prints for LUN 1 of the target through the listen port; throws when it fails.
    std::string inquiry(const IscsiTarget& target) const {
        return harness::SystemTool::run("iscsi-inq", {target.lunUrl(m_listenPort)}, 20s);
    }

    // Forwarding from the listen port to the target, as an initiator sees it.
    void expectIscsiReaches(const IscsiTarget& target) {
        ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
        std::string answer;
        ASSERT_NO_THROW(answer = inquiry(target)) << log();
        EXPECT_NE(answer.find("Peripheral Device Type:DIRECT_ACCESS"), std::string::npos) << answer;
    }

    TemporaryDirectory m_data;
};

// Both programs run the same service. A second start of qarvexd is refused, the desktop
// application's hands over to the first and ends; SIGTERM (for qarvex: the session ending) stops
// the forwarder like the quit command does.
struct Program {
    const char* path;
    int secondExit;
};

class ForwardingProgramTest : public WholeSystemWithTargetTest,
                              public ::testing::WithParamInterface<Program> {};

TEST_P(ForwardingProgramTest, AutoStartsFollowsTheTargetWhenItMovesStaysOneAndStopsOnSigterm) {
    IscsiTarget one(m_data.path(), "iqn.2026-11.com.velquor.test:one", 8);
    IscsiTarget two(m_data.path(), "iqn.2026-11.com.velquor.test:two", 16);
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", one.port()));
    writeConfig(config(true));
    startDaemon(GetParam().path);
    ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
    EXPECT_NE(log().find("]: " + route(one)), std::string::npos) << log();
    expectIscsiReaches(one);

    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", two.port()));
    ASSERT_TRUE(waitForLog("]: " + route(two))) << log();
    const auto text = log();
    EXPECT_NE(text.find("Target changed: 127.0.0.1:" + std::to_string(one.port()) +
                        " -> 127.0.0.1:" + std::to_string(two.port()) +
                        "; restarting forwarding service"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("socat stopped [PID="), std::string::npos) << text;
    expectIscsiReaches(two);
    EXPECT_THROW(inquiry(one), std::runtime_error)
        << "the old target is still reachable through the listen port";
    EXPECT_TRUE(waitUntil([&] {
        return socatsWith("TCP:127.0.0.1:" + std::to_string(one.port()) + ",").empty();
    })) << "a socat of the old route is left";

    EXPECT_EQ(launch(m_home.path(), GetParam().path)->waitForExit(60s), GetParam().secondExit);
    EXPECT_EQ(occurrences(log(), "Configuration loaded"), 1u) << "the second one loaded nothing";
    EXPECT_EQ(terminate(), 0);
    EXPECT_GE(occurrences(log(), "socat stopped [PID="), 2u) << log();
    EXPECT_TRUE(waitUntil([&] { return socatsListeningOn(m_listenPort).empty(); }))
        << "a socat remains";
}

INSTANTIATE_TEST_SUITE_P(Programs, ForwardingProgramTest,
                         ::testing::Values(Program{QARVEXD_PATH, 1}, Program{QARVEX_PATH, 0}));

TEST_F(WholeSystemTest, ForwardingGoesOnWithTheCachedTargetWhileDiscoveryIsDown) {
    auto json = config(true);
    json["discoveryURL"] = unreachableUrl();
    writeConfig(json);
    startDaemon();
    ASSERT_TRUE(waitForLog("socat started [PID=")) << log();
    EXPECT_NE(log().find("WARNING: Start dynamic target lookup failed from "), std::string::npos);
    ASSERT_TRUE(waitForLog("WARNING: Health check dynamic target lookup failed from ")) << log();
    ASSERT_TRUE(waitForLog("Health check passed")) << log();
    EXPECT_EQ(occurrences(log(), "WARNING: Health check"),
              occurrences(log(), "Health check passed"))
        << "one warning per check";
    EXPECT_TRUE(isListening(m_listenPort));
}

TEST_F(WholeSystemTest, APortHeldByAnotherProgramFailsAndLeavesTheProgramAlone) {
    // No target is ever reached: the start fails on the port before it would connect.
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", freeTcpPort()));
    // A program that is not socat holds the port: a copy of socat by another name.
    fs::copy_file("/usr/bin/socat", m_home / "mysocatd");
    harness::ChildProcess squatter(
        m_home / "mysocatd",
        {"TCP-LISTEN:" + std::to_string(m_listenPort) + ",bind=127.0.0.1,reuseaddr,fork",
         "/dev/null"},
        "/dev/null");
    ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
    writeConfig(config(true));
    startDaemon();
    ASSERT_TRUE(waitForLog("ERROR: Failed to start service: portOccupiedByUnknownProcess(host: "
                           "\"127.0.0.1\", port: " +
                           std::to_string(m_listenPort) + ")"))
        << log();
    ASSERT_TRUE(waitForLog("Health check passed")) << "the check leaves the port to its owner";
    EXPECT_FALSE(squatter.hasExited());
    EXPECT_EQ(log().find("socat started"), std::string::npos) << log();
}

} // namespace
} // namespace velquor::test
