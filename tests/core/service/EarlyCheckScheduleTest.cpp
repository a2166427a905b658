#include "core/service/EarlyCheckSchedule.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;

// At `at` ms after the start: an event ('R' resume, 'N' network change), a look for a due
// check ('T', expecting `line`, "" for none), or the end of the early check ('F' discovery
// failed, 'S' succeeded).
struct Step {
    int at;
    char what;
    const char* line = "";
};

struct ScheduleCase {
    const char* name;
    std::vector<Step> steps;
};

const ScheduleCase scheduleCases[] = {
    {"WaitsForTheNetworkToSettle",
     {{0, 'N'}, {1999, 'T'}, {2000, 'T', "Health check early: network changed"}, {2001, 'T'}}},
    {"ABurstPostponesTheCheckButNotForever",
     {{0, 'R'},
      {1500, 'N'},
      {3000, 'T'},
      {3500, 'T', "Health check early: resumed from suspend; network changed"}}},
    {"EndlessChurnStillChecksAfterTheLongestWait",
     {{0, 'N'},
      {1900, 'N'},
      {3800, 'N'},
      {5700, 'N'},
      {7600, 'N'},
      {9500, 'N'},
      {10000, 'T', "Health check early: network changed"}}},
    {"ChecksOnceMoreWhenDiscoveryWasUnreachable",
     {{0, 'R'},
      {2000, 'T', "Health check early: resumed from suspend"},
      {2100, 'F'},
      {7000, 'T'},
      {7100, 'T', "Health check early again: discovery was unreachable at the previous check"},
      {7200, 'F'},
      {60000, 'T'}}},
    {"NoRetryAfterASuccess",
     {{0, 'N'}, {2000, 'T', "Health check early: network changed"}, {2100, 'S'}, {60000, 'T'}}},
};

class EarlyCheckScheduleTable : public ::testing::TestWithParam<ScheduleCase> {};

TEST_P(EarlyCheckScheduleTable, RunsTheCheckWhenDue) {
    EarlyCheckSchedule schedule;
    const auto start = EarlyCheckSchedule::Clock::time_point{} + 1h;
    EXPECT_FALSE(schedule.dueAt());
    for (const auto& step : GetParam().steps) {
        const auto at = start + std::chrono::milliseconds(step.at);
        switch (step.what) {
        case 'R':
            schedule.resumed(at);
            break;
        case 'N':
            schedule.networkChanged(at);
            break;
        case 'T':
            EXPECT_EQ(schedule.takeDue(at).value_or(""), step.line) << "at " << step.at;
            break;
        default:
            schedule.checkFinished(step.what == 'S', at);
        }
    }
    EXPECT_FALSE(schedule.dueAt());
}

INSTANTIATE_TEST_SUITE_P(EarlyCheckSchedule, EarlyCheckScheduleTable,
                         ::testing::ValuesIn(scheduleCases),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace velquor
