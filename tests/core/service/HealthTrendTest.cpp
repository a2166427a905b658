#include "core/service/HealthTrend.h"

#include "core/logging/LogManager.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;

const TargetEndpoint cached("10.0.0.9", 3260);

// One letter per check: P passed, D discovery fell back to the cache, T target refused,
// F status stayed failed, B both discovery and target; R is a start or stop (reset).
HealthFindings findingsFor(char check) {
    HealthFindings findings;
    if (check == 'D' || check == 'B') {
        findings.cachedTargetUsed = cached;
    }
    if (check == 'T' || check == 'B') {
        findings.targetRefusing = cached;
    }
    if (check == 'F') {
        findings.failedWith = "portOccupied(18082)";
    }
    return findings;
}

struct TrendCase {
    const char* name;
    std::int64_t threshold;
    const char* checks;
    // Lines expected after each check ("" for none); "@N" stands for the stamp of check N.
    std::vector<std::string> lines;
};

const TrendCase trendCases[] = {
    {"NeverWarnsBelowTheThreshold", 3, "DDPDD", {"", "", "", "", ""}},
    {"WarnsOnceWhenReachedAndRecoversOnce",
     3,
     "DDDDDPP",
     {"", "",
      "WARNING: Health check failing 3 times in a row since @0: discovery unreachable, using "
      "cached target 10.0.0.9:3260",
      "", "", "Health checks passing again after 5 failures", ""}},
    {"DifferentFailuresCountTogetherAndTheLatestIsNamed",
     3,
     "DFB",
     {"", "",
      "WARNING: Health check failing 3 times in a row since @0: discovery unreachable, using "
      "cached target 10.0.0.9:3260; target 10.0.0.9:3260 refuses connections"}},
    {"SinceIsTheFirstFailureAfterAPass",
     2,
     "TPFF",
     {"", "", "",
      "WARNING: Health check failing 2 times in a row since @2: service failed: "
      "portOccupied(18082)"}},
    {"StartOrStopDropsTheCountAndTheWarningSilently",
     2,
     "DRDTRP",
     {"", "", "",
      "WARNING: Health check failing 2 times in a row since @2: target 10.0.0.9:3260 refuses "
      "connections",
      "", ""}},
    {"ThresholdBelowOneWarnsAtTheFirstFailure",
     0,
     "TP",
     {"WARNING: Health check failing 1 time in a row since @0: target 10.0.0.9:3260 refuses "
      "connections",
      "Health checks passing again after 1 failure"}},
};

class HealthTrendTable : public ::testing::TestWithParam<TrendCase> {};

TEST_P(HealthTrendTable, LogsOnlyAtTheThresholdAndAtRecovery) {
    const auto& testCase = GetParam();
    const auto start = LogManager::Clock::time_point{} + 24h * 20000;
    HealthTrend trend(testCase.threshold);
    const std::string checks = testCase.checks;
    ASSERT_EQ(checks.size(), testCase.lines.size());
    for (std::size_t index = 0; index < checks.size(); ++index) {
        const auto at = start + index * 1min;
        if (checks[index] == 'R') {
            trend.reset();
            EXPECT_FALSE(trend.warning()) << index;
            continue;
        }
        const auto change = trend.record(findingsFor(checks[index]), at);
        std::string expected = testCase.lines[index];
        if (const auto marker = expected.find('@'); marker != std::string::npos) {
            const auto sinceIndex = expected[marker + 1] - '0';
            expected.replace(marker, 2, LogManager::formatTimestamp(start + sinceIndex * 1min));
        }
        EXPECT_EQ(change ? change->logLine : "", expected) << "check " << index;
        if (change) {
            EXPECT_NE(expected.find(std::to_string(change->failures) + " "), std::string::npos);
            EXPECT_EQ(change->kind, expected.starts_with("WARNING: ")
                                        ? HealthTrend::Change::Kind::warning
                                        : HealthTrend::Change::Kind::recovery);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(HealthTrend, HealthTrendTable, ::testing::ValuesIn(trendCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(HealthTrend, TheWarningNamesTheLatestFailureOfTheRun) {
    const auto start = LogManager::Clock::now();
    HealthTrend trend(2);
    for (const char check : std::string("DDT")) {
        trend.record(findingsFor(check), start + (trend.consecutiveFailures() * 1min));
    }
    EXPECT_EQ(trend.warning(), (HealthWarning{3, start, findingsFor('T')}));
}

} // namespace
} // namespace velquor
