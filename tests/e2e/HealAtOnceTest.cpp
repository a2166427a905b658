// qarvexd heals a forwarder that dies at once instead of at its next interval, and does not
// spin on one that keeps dying. Real qarvexd and socat, no root; the interval is 60 s, so
// anything sooner was triggered by the exit itself.
#include "tests/e2e/WholeSystem.h"

#include <regex>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;

// Well before the 60 s interval.
constexpr auto healDeadline = 20s;

// How long the main thread of a process has run, in nanoseconds, as the scheduler counts it.
long long runTime(std::int32_t pid) {
    return std::stoll(readFile("/proc/" + std::to_string(pid) + "/schedstat"));
}

class HealAtOnceTest : public QarvexdTest {
protected:
    void SetUp() override {
        QarvexdTest::SetUp();
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
        auto json = config(true);
        json["checkIntervalSeconds"] = 60;
        writeConfig(json);
    }

    std::vector<std::int32_t> startedPids() const {
        static const std::regex started(R"(socat started \[PID=(\d+)\])");
        const auto text = log();
        std::vector<std::int32_t> pids;
        for (std::sregex_iterator it(text.begin(), text.end(), started), end; it != end; ++it) {
            pids.push_back(std::stoi((*it)[1]));
        }
        return pids;
    }
};

TEST_F(HealAtOnceTest, AKilledForwarderServesAgainLongBeforeTheIntervalAndLeavesNoZombie) {
    startDaemon();
    ASSERT_TRUE(waitUntil([&] { return startedPids().size() == 1 && isListening(m_listenPort); }))
        << log();
    const auto killed = startedPids().front();
    ASSERT_EQ(::kill(killed, SIGKILL), 0);

    ASSERT_TRUE(waitUntil([&] { return startedPids().size() == 2 && isListening(m_listenPort); },
                          healDeadline))
        << log();
    EXPECT_NE(log().find("Health check restarting missing listener"), std::string::npos);
    EXPECT_NE(startedPids().back(), killed);
    EXPECT_TRUE(waitUntil([&] { return !processState(killed); }, healDeadline))
        << "left in state " << processState(killed).value_or('-');
}

// A socat beside the program that forwards for a moment and then ends, every time.
TEST_F(HealAtOnceTest, AForwarderThatKeepsDyingIsRestartedWithBackOff) {
    startDaemon(installWithSocat("(sleep 1; kill $$) &"));

    ASSERT_TRUE(waitForLog("Forwarder exited unexpectedly 3 times", 1, healDeadline)) << log();
    const auto ranBefore = runTime(m_daemon->pid());
    // Back-off steps 0, 0.2, 1 and 5 s, then the 60 s interval: a handful of starts, not a loop.
    EXPECT_FALSE(waitUntil([&] { return startedPids().size() > 6; }, 15s)) << log();
    EXPECT_GE(startedPids().size(), 3u);
    // Asleep while it waits: a loop woken again and again by the dead one would burn seconds.
    EXPECT_LT(runTime(m_daemon->pid()) - ranBefore, 500'000'000) << log();
    for (const auto* exits :
         {"2 times", "3 times", "4 times in a row; next check in 5 s", "5 times"}) {
        EXPECT_EQ(occurrences(log(), exits), 1u) << exits << " counted once\n" << log();
    }
}

// Discovery that does not name a target and nothing cached: the start fails. The health check
// leaves that alone, so the service itself starts again, well before its 60 s interval.
TEST_F(HealAtOnceTest, AFailedStartIsRetriedUntilDiscoveryAnswers) {
    m_discovery.setReply({});
    auto json = config(true);
    json["checkIntervalSeconds"] = 60;
    json.erase("target");
    writeConfig(json);
    startDaemon();
    ASSERT_TRUE(
        waitForLog("Retrying start after failure (attempt 2); next retry in 10 s", 1, healDeadline))
        << log();
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
    EXPECT_TRUE(waitUntil([&] { return isListening(m_listenPort); }, healDeadline)) << log();
    EXPECT_EQ(terminate(), 0);
}

} // namespace
} // namespace velquor::test
