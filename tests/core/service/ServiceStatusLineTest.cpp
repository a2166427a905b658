#include "core/service/ServiceStatusLine.h"

#include "core/logging/LogManager.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using std::chrono::seconds;

ServiceSnapshot snapshotOf(ServiceStatus status, std::optional<std::string> error = {}) {
    ServiceSnapshot snapshot;
    snapshot.status = status;
    snapshot.currentTarget = TargetEndpoint("10.0.0.5", 3260);
    snapshot.lastError = std::move(error);
    return snapshot;
}

TEST(ServiceStatusLineTest, SaysWhereItForwardsOrWhyNotOnOneLine) {
    auto checked = snapshotOf(ServiceStatus::running);
    checked.lastCheckAt = LogManager::parseBracketTimestamp("[2024-05-01 10:00:09]");
    // An error from the network must not start a second assignment in the message.
    const std::string hostile = "refused\nREADY=1\r\x7f";
    const std::string longError(ServiceStatusLine::errorLimit + 50, 'x');
    const struct {
        ServiceSnapshot snapshot;
        std::optional<seconds> retryIn;
        std::string line;
    } cases[] = {
        {checked, {}, "Forwarding 127.0.0.1:18082 -> 10.0.0.5:3260; last check 10:00:09"},
        {snapshotOf(ServiceStatus::failed, "port taken"), seconds(10),
         "Failed: port taken; retrying in 10 s"},
        {snapshotOf(ServiceStatus::failed, hostile), {}, "Failed: refused READY=1  "},
        {snapshotOf(ServiceStatus::failed, longError),
         {},
         "Failed: " + longError.substr(0, ServiceStatusLine::errorLimit) + "…"},
        {snapshotOf(ServiceStatus::stopped), {}, "Not forwarding: stopped"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(ServiceStatusLine::compose(row.snapshot, row.retryIn), row.line);
    }
}

} // namespace
} // namespace velquor
