#include "VelquorApp/AppViewModel/HealthNotices.h"

#include "tests/app/RecordingNotifier.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using Kind = DesktopNotification::Kind;
using Cause = HealthNotices::Cause;

using test::RecordingNotifier;

TargetEndpoint target(const char* host) {
    return TargetEndpoint(host, 3260);
}

HealthWarning discoveryDown() {
    HealthWarning warning;
    warning.failures = 3;
    warning.findings.cachedTargetUsed = target("10.0.0.9");
    return warning;
}

// What the controller reports, reduced to what the notices read.
struct Step {
    Cause cause = Cause::other;
    ServiceStatus status = ServiceStatus::running;
    std::optional<TargetEndpoint> currentTarget;
    std::optional<HealthTrend::Change::Kind> change;
};

ServiceSnapshot snapshotOf(const Step& step, bool notificationsOn) {
    ServiceSnapshot snapshot;
    snapshot.status = step.status;
    snapshot.config.desktopNotifications = notificationsOn;
    snapshot.currentTarget = step.currentTarget;
    if (step.status == ServiceStatus::failed) {
        snapshot.lastError = "端口 18082 已被其他程序占用";
    }
    if (step.change) {
        snapshot.healthChange = HealthTrend::Change{*step.change, "line", 3};
        if (*step.change == HealthTrend::Change::Kind::warning) {
            snapshot.healthWarning = discoveryDown();
        }
    }
    return snapshot;
}

Step changed(HealthTrend::Change::Kind kind) {
    Step step;
    step.change = kind;
    return step;
}

Step failed(Cause cause) {
    Step step;
    step.cause = cause;
    step.status = ServiceStatus::failed;
    return step;
}

Step at(std::optional<TargetEndpoint> currentTarget) {
    Step step;
    step.currentTarget = std::move(currentTarget);
    return step;
}

struct Case {
    const char* name;
    std::vector<Step> steps;
    std::vector<Kind> expected;
};

const auto warned = changed(HealthTrend::Change::Kind::warning);
const auto recovered = changed(HealthTrend::Change::Kind::recovery);

const std::vector<Case> cases = {
    {"WarningThenRecovery", {warned, Step(), recovered}, {Kind::warning, Kind::recovery}},
    {"AnActiveWarningWithoutAChangeIsNotRepeated", {Step(), Step()}, {}},
    {"AFailedStart", {failed(Cause::start)}, {Kind::startFailed}},
    {"AFailedCheckIsNoFailedStart", {failed(Cause::other)}, {}},
    {"AMovedTarget",
     {at(target("10.0.0.1")), at(target("10.0.0.1")), at(std::nullopt), at(target("10.0.0.2"))},
     {Kind::targetMoved}},
    {"TheFirstTargetIsNoMove", {at(target("10.0.0.1"))}, {}},
};

class HealthNoticesTest : public ::testing::TestWithParam<Case> {};

TEST_P(HealthNoticesTest, SnapshotsInNotificationsOut) {
    for (const bool on : {true, false}) {
        std::vector<DesktopNotification> shown;
        HealthNotices notices(std::make_unique<RecordingNotifier>(shown));
        for (const auto& step : GetParam().steps) {
            notices.take(snapshotOf(step, on), step.cause);
        }
        std::vector<Kind> kinds;
        for (const auto& notification : shown) {
            kinds.push_back(notification.kind);
        }
        EXPECT_EQ(kinds, on ? GetParam().expected : std::vector<Kind>{})
            << (on ? "notifications on" : "the switch off silences all");
    }
}

INSTANTIATE_TEST_SUITE_P(, HealthNoticesTest, ::testing::ValuesIn(cases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(HealthNoticesMoveTest, AMoveWhileSilencedIsNotReportedWhenSwitchedOnAgain) {
    std::vector<DesktopNotification> shown;
    HealthNotices notices(std::make_unique<RecordingNotifier>(shown));
    notices.take(snapshotOf(at(target("10.0.0.1")), true), Cause::other);
    notices.take(snapshotOf(at(target("10.0.0.2")), false), Cause::other);
    notices.take(snapshotOf(at(target("10.0.0.2")), true), Cause::other);
    EXPECT_TRUE(shown.empty());
}

} // namespace
} // namespace velquor
