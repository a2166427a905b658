#include "VelquorApp/AppViewModel/EarlyChecks.h"

#include "tests/app/AppHarness.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace velquor {
namespace {

using namespace std::chrono_literals;

// Real children for the exit watch; the clock is the test's.
TEST(EarlyChecksTest, EachExitCountsOnceAndOnlyThirtySecondsOfServiceStartTheCountAnew) {
    EarlyChecks::Clock::time_point now;
    EarlyChecks checks([] { return std::chrono::milliseconds(60s); }, [&] { return now; });
    std::vector<std::chrono::milliseconds> delays;
    QObject::connect(&checks, &EarlyChecks::checkWanted,
                     [&](auto delay) { delays.push_back(delay); });
    ServiceSnapshot gone; // running by the controller's account, but nothing listens
    gone.status = ServiceStatus::running;
    // The checks drop and re-arm the watch 25 s after the start; the exit is seen twice.
    const auto serve = [&](std::chrono::seconds served) {
        QProcess forwarder;
        forwarder.start(QStringLiteral("/bin/sleep"), {QStringLiteral("600")});
        ASSERT_TRUE(forwarder.waitForStarted());
        auto seen = gone;
        seen.processIdentifier = static_cast<std::int32_t>(forwarder.processId());
        seen.socatRuntimeStatus = SocatRuntimeStatus::trackedSocat(*seen.processIdentifier);
        for (const auto uptime : {25s, served - 25s}) {
            checks.mayStartForwarder();
            checks.follow(seen);
            now += uptime;
        }
        const auto before = delays.size();
        forwarder.kill();
        ASSERT_TRUE(test::waitFor([&] { return delays.size() > before; }));
        checks.follow(gone);
    };
    serve(29s);
    for (int check = 0; check < 3; ++check) {
        checks.mayStartForwarder(); // starts one that ends before any snapshot shows it
        checks.follow(gone);
        checks.follow(gone);
    }
    serve(29s);
    serve(30s);
    EXPECT_EQ(delays, (std::vector{0ms, 200ms, 1000ms, 5000ms, 60000ms, 0ms}));
}

} // namespace
} // namespace velquor
