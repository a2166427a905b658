#include "VelquorApp/AppViewModel/HealthNotices.h"

#include "tests/app/RecordingNotifier.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using Kind = DesktopNotification::Kind;
using Cause = HealthNotices::Cause;
using Change = HealthTrend::Change::Kind;

// What the controller reports, reduced to what the notices read.
struct Step {
    Cause cause = Cause::other;
    ServiceStatus status = ServiceStatus::running;
    std::optional<TargetEndpoint> currentTarget;
    std::optional<Change> change;
    bool silenced = false; // the switch is off for this snapshot alone
};

ServiceSnapshot snapshotOf(const Step& step, bool notificationsOn) {
    ServiceSnapshot snapshot;
    snapshot.status = step.status;
    snapshot.config.desktopNotifications = notificationsOn && !step.silenced;
    snapshot.currentTarget = step.currentTarget;
    if (step.status == ServiceStatus::failed) {
        snapshot.lastError = "端口 18082 已被其他程序占用";
    }
    if (step.change) {
        snapshot.healthChange = HealthTrend::Change{*step.change, "line", 3};
        if (*step.change == Change::warning) {
            snapshot.healthWarning = HealthWarning{3, {}, {}};
        }
    }
    return snapshot;
}

Step changed(Change change) {
    Step step;
    step.change = change;
    return step;
}

Step failed(Cause cause) {
    Step step;
    step.cause = cause;
    step.status = ServiceStatus::failed;
    return step;
}

Step at(const char* host, bool silenced = false) {
    Step step;
    step.currentTarget = TargetEndpoint(host, 3260);
    step.silenced = silenced;
    return step;
}

struct Case {
    const char* name;
    std::vector<Step> steps;
    std::vector<Kind> expected;
};

const std::vector<Case> cases = {
    {"AWarningOnceThenRecovery",
     {changed(Change::warning), Step(), changed(Change::recovery)},
     {Kind::warning, Kind::recovery}},
    {"AFailedStartButNoFailedCheck",
     {failed(Cause::other), failed(Cause::start)},
     {Kind::startFailed}},
    // The first target is no move; a move while silenced is not reported when switched on again.
    {"AMovedTarget",
     {at("10.0.0.1"), at("10.0.0.1"), Step(), at("10.0.0.2"), at("10.0.0.3", true), at("10.0.0.3")},
     {Kind::targetMoved}},
};

class HealthNoticesTest : public ::testing::TestWithParam<Case> {};

TEST_P(HealthNoticesTest, SnapshotsInNotificationsOut) {
    for (const bool on : {true, false}) {
        std::vector<DesktopNotification> shown;
        HealthNotices notices(std::make_unique<test::RecordingNotifier>(shown));
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

} // namespace
} // namespace velquor
