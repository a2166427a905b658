#include "core/service/ServiceStatusLine.h"

#include "core/logging/LogManager.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using std::chrono::seconds;

ServiceSnapshot snapshotOf(ServiceStatus status, std::string error = "") {
    ServiceSnapshot snapshot;
    snapshot.status = status;
    snapshot.currentTarget = TargetEndpoint("10.0.0.5", 3260);
    if (!error.empty()) {
        snapshot.lastError = std::move(error);
    }
    return snapshot;
}

TEST(ServiceStatusLineTest, SaysWhereItForwardsOrWhyNotOnOneLine) {
    auto checked = snapshotOf(ServiceStatus::running);
    checked.lastCheckAt = LogManager::parseBracketTimestamp("[2024-05-01 10:00:09]");
    auto warned = checked;
    warned.healthWarning = HealthWarning();
    warned.healthWarning->failures = 3;
    // An error from the network must not start a second assignment in the message.
    const std::string hostile = "refused\nREADY=1\r\x7f";
    const std::string longError(ServiceStatusLine::errorLimit + 50, 'x');
    const struct {
        ServiceSnapshot snapshot;
        std::optional<seconds> retryIn;
        std::string line;
    } cases[] = {
        {checked, {}, "Forwarding 127.0.0.1:18082 -> 10.0.0.5:3260; last check 10:00:09"},
        {snapshotOf(ServiceStatus::running), {}, "Forwarding 127.0.0.1:18082 -> 10.0.0.5:3260"},
        {warned,
         {},
         "Forwarding 127.0.0.1:18082 -> 10.0.0.5:3260; last check 10:00:09; health checks "
         "failing (3 in a row)"},
        {snapshotOf(ServiceStatus::failed, "port taken"), seconds(10),
         "Failed: port taken; retrying in 10 s"},
        {snapshotOf(ServiceStatus::failed, hostile), {}, "Failed: refused READY=1  "},
        {snapshotOf(ServiceStatus::failed, longError),
         {},
         "Failed: " + longError.substr(0, ServiceStatusLine::errorLimit) + "…"},
        {snapshotOf(ServiceStatus::stopped), {}, "Not forwarding: stopped"},
        {snapshotOf(ServiceStatus::starting), {}, "Starting forwarding on 127.0.0.1:18082"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(ServiceStatusLine::compose(row.snapshot, row.retryIn), row.line);
    }
}

} // namespace
} // namespace velquor
