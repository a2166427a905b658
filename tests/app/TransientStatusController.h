#pragma once

#include "core/service/ServiceController.h"
#include "tests/app/AppHarness.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace velquor::test {

// A real controller whose snapshots carry what the test sets: a status held otherwise only while
// an operation runs, a health warning with the change that raised it, a forwarder of ours.
class TransientStatusController : public ServiceController {
public:
    using ServiceController::ServiceController;

    // nullopt reports the real status again.
    void reportStatus(std::optional<ServiceStatus> status);
    void report(std::optional<HealthWarning> warning, std::optional<std::int32_t> process);
    // Every snapshot says running while nothing listens, as when each forwarder ends at once.
    void reportVanished() { m_vanished = true; }
    int healthChecks() const { return m_healthChecks; }

    ServiceSnapshot load(bool startIfConfigured) override {
        return edited(ServiceController::load(startIfConfigured));
    }
    ServiceSnapshot refreshRuntimeStatus() override {
        return edited(ServiceController::refreshRuntimeStatus());
    }
    ServiceSnapshot healthCheck() override {
        ++m_healthChecks;
        return edited(ServiceController::healthCheck());
    }
    ServiceSnapshot checkNow() override { return edited(ServiceController::checkNow()); }

private:
    ServiceSnapshot edited(ServiceSnapshot snapshot);

    std::mutex m_mutex;
    std::optional<ServiceStatus> m_status;
    std::optional<HealthWarning> m_warning;
    std::optional<HealthTrend::Change> m_change;
    std::optional<std::int32_t> m_process;
    std::atomic<int> m_healthChecks{0};
    std::atomic<bool> m_vanished{false};
};

// Brings the view model to a status; failed: another program holds the listen port; the states
// held only during an operation are reported by a check. False when not reached in time.
bool reachStatus(AppViewModel& model, AppHarness& harness, TransientStatusController& controller,
                 ServiceStatus status);

} // namespace velquor::test
