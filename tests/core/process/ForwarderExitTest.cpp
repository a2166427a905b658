#include "core/process/ProcessExitWatch.h"
#include "core/process/ProcessSpawner.h"
#include "core/process/RestartBackoff.h"
#include "core/service/FailedStartRetry.h"

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

TEST(ProcessExitWatch, BecomesReadableWhenTheChildEndsAndNamesHowWithoutReapingIt) {
    ProcessSpawner spawner;
    const auto line = [](std::int32_t pid) {
        return "Health check early: forwarder exited [PID=" + std::to_string(pid) + "]";
    };
    const auto killed = spawner.spawn("/bin/sleep", {"60"});
    const auto failed = spawner.spawn("/bin/sh", {"-c", "exit 3"});
    {
        const ProcessExitWatch watch(killed);
        EXPECT_FALSE(watch.hasExited());
        EXPECT_FALSE(readableWithin(watch.descriptor(), 0));
        ASSERT_EQ(::kill(killed, SIGKILL), 0);
        // Generous: the wait ends as soon as the child is gone.
        EXPECT_TRUE(readableWithin(watch.descriptor(), 10000));
        EXPECT_TRUE(watch.hasExited());
        EXPECT_EQ(watch.exitLine(), line(killed) + " by signal KILL");
        const ProcessExitWatch exited(failed);
        EXPECT_TRUE(readableWithin(exited.descriptor(), 10000));
        EXPECT_EQ(exited.exitLine(), line(failed) + " with status 3");
    }
    // Still ours to reap: the watch took nothing away from the owner.
    int status = 0;
    ASSERT_EQ(::waitpid(killed, &status, 0), killed);
    EXPECT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(::waitpid(failed, &status, 0), failed);
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

// Each forwarder is seen again halfway through its run (as after every check), and its exit is
// reported twice (a stale snapshot, a second reader) and the dead one shown once more: neither
// may count twice nor restart its uptime.
TEST(RestartBackoff, BacksOffStepByStepCountingEachExitOnceAndStartsAgainAfterAGoodRun) {
    const Exit exits[] = {
        {10ms, 0ms, nullptr},
        {10ms, 200ms, "Forwarder exited unexpectedly 2 times in a row; next check in 0.2 s"},
        {10ms, 1s, "Forwarder exited unexpectedly 3 times in a row; next check in 1 s"},
        {10ms, 5s, "Forwarder exited unexpectedly 4 times in a row; next check in 5 s"},
        {10ms, 60s, "Forwarder exited unexpectedly 5 times in a row; next check in 60 s"},
        {10ms, 60s, nullptr},
        {30s, 0ms, nullptr}}; // one that stayed up starts again from once
    RestartBackoff backoff;
    auto now = RestartBackoff::Clock::time_point{} + 1h;
    std::int32_t pid = 100;
    for (const auto& exit : exits) {
        ++pid;
        backoff.started(pid, now);
        backoff.started(pid, now + exit.uptime / 2);
        now += exit.uptime;
        const auto decision = backoff.exited(pid, now, 60s);
        ASSERT_TRUE(decision);
        EXPECT_EQ(decision->delay, exit.delay) << backoff.exitsInARow();
        EXPECT_EQ(decision->logLine.value_or(""), exit.logLine ? exit.logLine : "");
        backoff.started(pid, now);
        EXPECT_EQ(backoff.exited(pid, now, 60s), std::nullopt);
    }
}

// At second `at`, a status seen (without one: a due attempt taken, logging `line`) leaves the
// next attempt due at second `due` (-1: none).
struct RetryStep {
    int at;
    std::optional<ServiceStatus> seen;
    int due;
    const char* line;
};

TEST(FailedStartRetry, DoublesFromFiveSecondsUpToTheIntervalAndStartsAgainOnceNotFailed) {
    constexpr auto failed = ServiceStatus::failed;
    const RetryStep steps[] = {
        {0, failed, 5, ""},
        {4, {}, 5, ""},
        {5, {}, -1, "Retrying start after failure (attempt 2); next retry in 10 s"},
        {6, failed, 16, ""},
        {10, failed, 16, ""}, // a health check that finds it still failed moves nothing
        {16, {}, -1, "Retrying start after failure (attempt 3); next retry in 15 s"},
        {17, failed, 32, ""},
        {20, ServiceStatus::running, -1, ""},
        {30, failed, 35, ""},
        {35, {}, -1, "Retrying start after failure (attempt 2); next retry in 10 s"},
    };
    FailedStartRetry retry;
    const FailedStartRetry::Clock::time_point start{1h};
    for (const auto& [at, seen, due, line] : steps) {
        const auto now = start + std::chrono::seconds(at);
        if (seen) {
            retry.statusSeen(*seen, now, 15s);
        }
        EXPECT_EQ(seen ? "" : retry.takeDue(now, 15s).value_or(""), line) << at;
        const auto expected = start + std::chrono::seconds(due);
        EXPECT_EQ(retry.dueAt(), due < 0 ? std::nullopt : std::optional(expected)) << at;
    }
}

} // namespace
} // namespace velquor
