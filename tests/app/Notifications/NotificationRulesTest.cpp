#include "VelquorApp/AppViewModel/HealthNotices.h"
#include "VelquorApp/Notifications/ThrottledNotifier.h"
#include "tests/app/RecordingNotifier.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;
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

constexpr auto running = ServiceStatus::running;
constexpr auto failed = ServiceStatus::failed;
const Step warned{Cause::other, running, std::nullopt, Change::warning, false};
const Step recovered{Cause::other, running, std::nullopt, Change::recovery, false};
const Step failedCheck{Cause::other, failed, std::nullopt, std::nullopt, false};
const Step failedStart{Cause::start, failed, std::nullopt, std::nullopt, false};

Step at(const char* host, bool silenced = false) {
    return {Cause::other, running, TargetEndpoint(host, 3260), std::nullopt, silenced};
}

struct Case {
    const char* name;
    std::vector<Step> steps;
    std::vector<Kind> expected;
};

const std::vector<Case> cases = {
    {"AWarningOnceThenRecovery", {warned, Step(), recovered}, {Kind::warning, Kind::recovery}},
    {"AFailedStartButNoFailedCheck", {failedCheck, failedStart}, {Kind::startFailed}},
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

struct Offer {
    std::chrono::seconds at;
    Kind kind;
    bool shown;
};

TEST(ThrottledNotifier, ShowsAtMostOneNotificationOfEachKindPerMinute) {
    const std::vector<Offer> offers = {
        {0s, Kind::warning, true},       {1s, Kind::recovery, true},
        {2s, Kind::startFailed, true},   {3s, Kind::targetMoved, true},
        {30s, Kind::warning, false},     {59s, Kind::recovery, false},
        {60s, Kind::warning, true},      {61s, Kind::recovery, true},
        {119s, Kind::warning, false},    {120s, Kind::warning, true},
        {600s, Kind::targetMoved, true}, {601s, Kind::targetMoved, false},
    };
    const auto start = ThrottledNotifier::Clock::time_point{} + 1h;
    auto now = start;
    std::vector<DesktopNotification> shown;
    std::vector<DesktopNotification> expected;
    ThrottledNotifier notifier(std::make_unique<test::RecordingNotifier>(shown),
                               [&now] { return now; });
    for (const auto& offer : offers) {
        now = start + offer.at;
        const DesktopNotification notification{offer.kind, QStringLiteral("t"),
                                               QStringLiteral("b")};
        notifier.notify(notification);
        if (offer.shown) {
            expected.push_back(notification);
        }
        EXPECT_EQ(shown, expected) << "at " << offer.at.count() << " s";
    }
}

} // namespace
} // namespace velquor
