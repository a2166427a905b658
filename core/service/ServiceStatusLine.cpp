#include "core/service/ServiceStatusLine.h"

#include "core/logging/LogManager.h"
#include "core/text/OneLine.h"

#include <algorithm>

namespace velquor {
namespace {

std::string listenAddress(const ForwarderConfig& config) {
    return config.listenHost + ":" + std::to_string(config.listenPort);
}

std::string forwarding(const ServiceSnapshot& snapshot) {
    auto line = "Forwarding " + listenAddress(snapshot.config);
    if (snapshot.currentTarget) {
        line += " -> " + snapshot.currentTarget->text();
    }
    if (snapshot.lastCheckAt) {
        // "yyyy-MM-dd HH:mm:ss": the time of day is enough for a service that checks daily.
        line += "; last check " + LogManager::formatTimestamp(*snapshot.lastCheckAt).substr(11);
    }
    if (snapshot.healthWarning) {
        line += "; health checks failing (" + std::to_string(snapshot.healthWarning->failures) +
                " in a row)";
    }
    return line;
}

std::string failed(const ServiceSnapshot& snapshot, std::optional<std::chrono::seconds> retryIn) {
    // A reload forgets the error of a start that failed, but not the failure.
    // A line break would end the line, and in a notification message begin another assignment.
    auto line = snapshot.lastError
                    ? "Failed: " + oneLine(*snapshot.lastError, ServiceStatusLine::errorLimit)
                    : "Failed";
    if (retryIn) {
        line += "; retrying in " + std::to_string(retryIn->count()) + " s";
    }
    return line;
}

} // namespace

std::string ServiceStatusLine::compose(const ServiceSnapshot& snapshot,
                                       std::optional<std::chrono::seconds> retryIn) {
    switch (snapshot.status) {
    case ServiceStatus::running:
        return forwarding(snapshot);
    case ServiceStatus::failed:
        return failed(snapshot, retryIn);
    case ServiceStatus::starting:
        return "Starting forwarding on " + listenAddress(snapshot.config);
    case ServiceStatus::stopping:
        return "Stopping forwarding";
    case ServiceStatus::checking:
        return "Checking the target";
    case ServiceStatus::stopped:
        break;
    }
    return "Not forwarding: stopped";
}

} // namespace velquor
