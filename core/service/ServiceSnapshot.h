#pragma once

#include "core/config/ForwarderConfig.h"
#include "core/forwarding/SocatRuntimeStatus.h"
#include "core/service/HealthTrend.h"
#include "core/service/ServiceStatus.h"

#include <chrono>
#include <optional>
#include <string>

namespace velquor {

// The immutable picture of the controller that every controller operation returns. Its
// runtime fields are fresh; status is what the controller last decided, and may disagree.
struct ServiceSnapshot {
    ServiceStatus status = ServiceStatus::stopped;
    ForwarderConfig config = ForwarderConfig::defaults();
    std::optional<TargetEndpoint> currentTarget;
    std::optional<std::chrono::system_clock::time_point> lastCheckAt;
    std::optional<std::string> lastError;
    std::optional<std::int32_t> processIdentifier;
    SocatRuntimeStatus socatRuntimeStatus;
    // Raised once health checks have failed failureThreshold times in a row; gone when they pass
    // again, and after a start or a stop.
    std::optional<HealthWarning> healthWarning;
    // Only in the snapshot of the check that raised or ended a warning.
    std::optional<HealthTrend::Change> healthChange;

    bool operator==(const ServiceSnapshot&) const = default;
};

} // namespace velquor
