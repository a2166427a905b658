#include "VelquorApp/Notifications/ThrottledNotifier.h"

#include "tests/app/RecordingNotifier.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;
using Kind = DesktopNotification::Kind;

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
