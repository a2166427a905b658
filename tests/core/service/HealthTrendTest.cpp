#include "core/service/HealthTrend.h"

#include "core/logging/LogManager.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;

const TargetEndpoint cached("10.0.0.9", 3260);

// One letter per check: P passed, D discovery fell back to the cache, T target refused,
// F status stayed failed, B both discovery and target.
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

using Lines = std::vector<std::string>;

struct TrendCase {
    const char* name;
    std::int64_t threshold;
    const char* checks;
    // Lines expected after each check ("" for none); "@N" stands for the stamp of check N.
    Lines lines;
};

const TrendCase trendCases[] = {
    {"WarnsOnceWhenReachedAndRecoversOnce", 3, "DDDDDPP",
     Lines{"", "",
           "WARNING: Health check failing 3 times in a row since @0: discovery unreachable, using "
           "cached target 10.0.0.9:3260",
           "", "", "Health checks passing again after 5 failures", ""}},
    {"DifferentFailuresCountTogetherAndTheLatestIsNamed", 3, "DFBT",
     Lines{"", "",
           "WARNING: Health check failing 3 times in a row since @0: discovery unreachable, using "
           "cached target 10.0.0.9:3260; target 10.0.0.9:3260 refuses connections",
           ""}},
    {"SinceIsTheFirstFailureAfterAPass", 2, "TPFF",
     Lines{"", "", "",
           "WARNING: Health check failing 2 times in a row since @2: service failed: "
           "portOccupied(18082)"}},
    {"ThresholdBelowOneWarnsAtTheFirstFailure", 0, "TP",
     Lines{"WARNING: Health check failing 1 time in a row since @0: target 10.0.0.9:3260 refuses "
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
        const auto findings = findingsFor(checks[index]);
        const auto change = trend.record(findings, at);
        std::string expected = testCase.lines[index];
        if (const auto marker = expected.find('@'); marker != std::string::npos) {
            const auto since = start + (expected[marker + 1] - '0') * 1min;
            expected.replace(marker, 2, LogManager::formatTimestamp(since));
            ASSERT_TRUE(trend.warning());
            EXPECT_EQ(trend.warning()->since, since);
        }
        EXPECT_EQ(change ? change->logLine : "", expected) << "check " << index;
        if (change) {
            EXPECT_NE(expected.find(std::to_string(change->failures) + " "), std::string::npos);
            EXPECT_EQ(change->kind, expected.starts_with("WARNING: ")
                                        ? HealthTrend::Change::Kind::warning
                                        : HealthTrend::Change::Kind::recovery);
        }
        if (trend.warning()) {
            // Shown until the run ends, so it follows the run's latest failure.
            EXPECT_EQ(trend.warning()->findings, findings) << "check " << index;
            EXPECT_EQ(trend.warning()->failures, trend.consecutiveFailures());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(HealthTrend, HealthTrendTable, ::testing::ValuesIn(trendCases),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace velquor
