#include "VelquorApp/Notifications/ThrottledNotifier.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;
using Kind = DesktopNotification::Kind;

struct RecordingNotifier : DesktopNotifying {
    std::vector<Kind> shown;
    void notify(const DesktopNotification& notification) override {
        shown.push_back(notification.kind);
    }
};

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
    auto now = ThrottledNotifier::Clock::time_point{} + 1h;
    const auto start = now;
    auto recorder = std::make_unique<RecordingNotifier>();
    const auto& shown = recorder->shown;
    ThrottledNotifier notifier(std::move(recorder), [&now] { return now; });
    std::vector<Kind> expected;
    for (const auto& offer : offers) {
        now = start + offer.at;
        notifier.notify({offer.kind, QStringLiteral("t"), QStringLiteral("b")});
        if (offer.shown) {
            expected.push_back(offer.kind);
        }
        EXPECT_EQ(shown, expected) << "at " << offer.at.count() << " s";
    }
}

} // namespace
} // namespace velquor
