#include "core/service/PassiveChecks.h"

#include "core/service/ForwarderOutputWatch.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

const ConnectFailure refused{"10.0.0.5:3260", "Connection refused"};
const ConnectFailure timedOut{"10.0.0.5:3260", "Connection timed out"};
const std::string refusedWarning =
    "WARNING: Forwarded connection to 10.0.0.5:3260 failed: Connection refused";
const std::string refusedCheck =
    "Health check early: connection to 10.0.0.5:3260 failed: Connection refused";

// At `at` seconds: failures ('R' refused, 'T' timed out), the end of a health check ('C'), or a
// look at what is due ('?'), expecting `lines` and, with `check`, an early check.
struct Step {
    double at;
    char what;
    Lines lines = {};
    bool check = false;
};

struct PassiveCase {
    const char* name;
    std::vector<Step> steps;
};

const PassiveCase passiveCases[] = {
    {"ChecksAtOnceThenAtMostEveryFiveSeconds",
     {{0, 'R'},
      {0, '?', {refusedWarning, refusedCheck}, true},
      {1, 'R'},
      {2, 'R'},
      {4.9, '?'},
      {5, '?', {refusedCheck}, true},
      {9, '?'},
      {11, 'R'},
      {11, '?', {refusedCheck}, true},
      {71,
       '?',
       {"WARNING: Forwarded connection to 10.0.0.5:3260 failed 3 times in the last "
        "minute: Connection refused"}}}},
    {"TheFloorCountsFromTheEndOfTheLastCheck",
     {{0, 'C'},
      {1, 'R'},
      {4, '?', {refusedWarning}},
      {5, '?', {refusedCheck}, true},
      {5.5, 'R'},
      {9.9, 'C'},
      {10.5, '?'},
      {14.9, '?', {refusedCheck}, true},
      {60, '?'},
      {61, '?', {"WARNING: Forwarded connection to 10.0.0.5:3260 failed: Connection refused"}}}},
    {"WarnsOfEachReasonOncePerMinuteAndForgetsAQuietOne",
     {{0, 'R'},
      {0, 'T'},
      {0,
       '?',
       {refusedWarning,
        "WARNING: Forwarded connection to 10.0.0.5:3260 failed: Connection timed out",
        refusedCheck},
       true},
      {30, 'T'},
      {30,
       '?',
       {"Health check early: connection to 10.0.0.5:3260 failed: Connection timed out"},
       true},
      {60, '?', {"WARNING: Forwarded connection to 10.0.0.5:3260 failed: Connection timed out"}},
      {120, '?'},
      {121, 'R'},
      {121, '?', {refusedWarning, refusedCheck}, true}}},
};

class PassiveChecksTable : public ::testing::TestWithParam<PassiveCase> {};

TEST_P(PassiveChecksTable, ChecksAndWarnsWithinTheirLimits) {
    PassiveChecks checks;
    const auto start = PassiveChecks::Clock::time_point{} + 1h;
    for (const auto& step : GetParam().steps) {
        const auto at = start + std::chrono::duration_cast<std::chrono::milliseconds>(
                                    std::chrono::duration<double>(step.at));
        if (step.what == 'C') {
            checks.checked(at);
            continue;
        }
        if (step.what != '?') {
            checks.failed(step.what == 'R' ? refused : timedOut, at);
            EXPECT_LE(checks.dueAt().value(), at + PassiveChecks::checkFloor);
            continue;
        }
        const auto due = checks.takeDue(at);
        EXPECT_EQ(due.lines, step.lines) << "at " << step.at;
        EXPECT_EQ(due.check, step.check) << "at " << step.at;
    }
    EXPECT_FALSE(checks.dueAt());
}

INSTANTIATE_TEST_SUITE_P(PassiveChecks, PassiveChecksTable, ::testing::ValuesIn(passiveCases),
                         [](const auto& info) { return std::string(info.param.name); });

// socat's lines reach our standard error as they stand, with their priority in the journal, and
// its failed connections reach the checks.
TEST(ForwarderOutputWatch, RelaysEveryLineAndTakesNoteOfFailedConnections) {
    int socat[2];
    int ours[2];
    ASSERT_EQ(::pipe2(socat, O_NONBLOCK | O_CLOEXEC), 0);
    ASSERT_EQ(::pipe2(ours, O_NONBLOCK | O_CLOEXEC), 0);
    struct stat info {};
    ASSERT_EQ(::fstat(ours[1], &info), 0);
    const auto journal = std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
    const std::string lines = "2026/11/25 00:58:13 socat[7] E connect(5, AF=2 10.0.0.5:3260, 16): "
                              "Connection refused\n"
                              "2026/11/25 00:58:13 socat[7] W exiting on signal 15\n"
                              "not socat's\n";
    ASSERT_EQ(::write(socat[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));

    ForwarderOutputWatch watch(socat[0], StandardErrorLog(ours[1], journal.c_str()));
    watch.read(PassiveChecks::Clock::now());
    std::string relayed(4096, '\0');
    relayed.resize(static_cast<std::size_t>(
        std::max<ssize_t>(0, ::read(ours[0], relayed.data(), relayed.size()))));
    EXPECT_EQ(relayed, "<3>2026/11/25 00:58:13 socat[7] E connect(5, AF=2 10.0.0.5:3260, 16): "
                       "Connection refused\n"
                       "<4>2026/11/25 00:58:13 socat[7] W exiting on signal 15\n"
                       "<6>not socat's\n");
    EXPECT_EQ(watch.takeDue(PassiveChecks::Clock::now()).lines,
              (Lines{refusedWarning, refusedCheck}));
    for (const int descriptor : {socat[0], socat[1], ours[0], ours[1]}) {
        ::close(descriptor);
    }
    // A pipe that fails is given up, and says so once.
    watch.read(PassiveChecks::Clock::now());
    EXPECT_EQ(watch.descriptor(), -1);
    const auto given = watch.takeDue(PassiveChecks::Clock::now()).lines;
    ASSERT_EQ(given.size(), 1u);
    EXPECT_TRUE(given[0].starts_with("WARNING: Forwarded connections no longer watched: "));
    EXPECT_TRUE(watch.takeDue(PassiveChecks::Clock::now()).lines.empty());
}

} // namespace
} // namespace velquor
