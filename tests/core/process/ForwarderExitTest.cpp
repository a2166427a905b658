#include "core/process/ProcessExitWatch.h"
#include "core/process/ProcessSpawner.h"
#include "core/process/RestartBackoff.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>

// How the end of a forwarder is seen, and how soon the next check follows it.
namespace velquor {
namespace {

bool readableWithin(int descriptor, int milliseconds) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, milliseconds) == 1 && (entry.revents & POLLIN) != 0;
}

TEST(ProcessExitWatch, BecomesReadableWhenTheChildIsKilledAndNotBefore) {
    ProcessSpawner spawner;
    const auto pid = spawner.spawn("/bin/sleep", {"60"});
    {
        const ProcessExitWatch watch(pid);
        EXPECT_FALSE(watch.hasExited());
        EXPECT_FALSE(readableWithin(watch.descriptor(), 0));
        ASSERT_EQ(::kill(pid, SIGKILL), 0);
        // Generous: the wait ends as soon as the child is gone.
        EXPECT_TRUE(readableWithin(watch.descriptor(), 10000));
        EXPECT_TRUE(watch.hasExited());
    }
    // Still ours to reap: the watch took nothing away from the owner.
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST(ProcessExitWatch, RefusesAProcessThatDoesNotExist) {
    EXPECT_THROW(ProcessExitWatch(-5), std::system_error);
    EXPECT_THROW(ProcessExitWatch(0x3ffffff0), std::system_error);
}

using namespace std::chrono_literals;

struct Exit {
    // How long the forwarder ran before it exited.
    std::chrono::milliseconds uptime;
    std::chrono::milliseconds delay;
    const char* logLine;
};

struct BackoffCase {
    const char* name;
    std::chrono::milliseconds interval;
    std::vector<Exit> exits;
};

const BackoffCase backoffCases[] = {
    {"BacksOffStepByStepAndStartsAgainAfterAGoodRun",
     60s,
     {{10ms, 0ms, nullptr},
      {10ms, 200ms, "Forwarder exited unexpectedly 2 times in a row; next check in 0.2 s"},
      {10ms, 1s, "Forwarder exited unexpectedly 3 times in a row; next check in 1 s"},
      {10ms, 5s, "Forwarder exited unexpectedly 4 times in a row; next check in 5 s"},
      {10ms, 60s, "Forwarder exited unexpectedly 5 times in a row; next check in 60 s"},
      {10ms, 60s, nullptr},
      {30s, 0ms, nullptr}}}, // one that stayed up starts again from once
    {"NeverWaitsLongerThanTheInterval",
     1s,
     {{0ms, 0ms, nullptr},
      {0ms, 200ms, "Forwarder exited unexpectedly 2 times in a row; next check in 0.2 s"},
      {0ms, 1s, "Forwarder exited unexpectedly 3 times in a row; next check in 1 s"},
      {0ms, 1s, "Forwarder exited unexpectedly 4 times in a row; next check in 1 s"}}},
};

class RestartBackoffTable : public ::testing::TestWithParam<BackoffCase> {};

// Each forwarder is seen again halfway through its run (as after every check), and its exit is
// reported twice (a stale snapshot, a second reader) and the dead one shown once more: neither
// may count twice nor restart its uptime.
TEST_P(RestartBackoffTable, DelaysTheCheckAfterEachExit) {
    RestartBackoff backoff;
    auto now = RestartBackoff::Clock::time_point{} + 1h;
    std::int32_t pid = 100;
    for (const auto& exit : GetParam().exits) {
        ++pid;
        backoff.started(pid, now);
        backoff.started(pid, now + exit.uptime / 2);
        now += exit.uptime;
        const auto decision = backoff.exited(pid, now, GetParam().interval);
        ASSERT_TRUE(decision);
        EXPECT_EQ(decision->delay, exit.delay) << backoff.exitsInARow();
        EXPECT_EQ(decision->logLine.value_or(""), exit.logLine ? exit.logLine : "");
        backoff.started(pid, now);
        EXPECT_EQ(backoff.exited(pid, now, GetParam().interval), std::nullopt);
    }
}

INSTANTIATE_TEST_SUITE_P(RestartBackoff, RestartBackoffTable, ::testing::ValuesIn(backoffCases),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace velquor
