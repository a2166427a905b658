#pragma once

#include "core/service/ServiceController.h"
#include "tests/app/AppHarness.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace velquor::test {

// A real controller over the harness's doubles whose snapshots carry what the test sets: a status
// the controller otherwise holds only while an operation runs (starting, stopping, checking), so
// that a view can be seen in it; a health warning, with the change that raised it; a forwarder
// process of ours. Counts the health checks the view model asks for.
class TransientStatusController : public ServiceController {
public:
    using ServiceController::ServiceController;

    // nullopt reports the real status again.
    void reportStatus(std::optional<ServiceStatus> status);
    void report(std::optional<HealthWarning> warning, std::optional<std::int32_t> process);
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
};

// Brings the view model to a status: stopped is where loading ends; running and failed come
// from real commands over the doubles (failed: another program holds the listen port); the
// states the controller holds only during an operation are reported by its check. False when
// the status was not reached in time.
bool reachStatus(AppViewModel& model, AppHarness& harness, TransientStatusController& controller,
                 ServiceStatus status);

} // namespace velquor::test
