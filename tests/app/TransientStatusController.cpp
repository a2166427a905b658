#include "tests/app/TransientStatusController.h"

namespace velquor::test {

void TransientStatusController::reportStatus(std::optional<ServiceStatus> status) {
    const std::lock_guard lock(m_mutex);
    m_status = status;
}

void TransientStatusController::report(std::optional<HealthWarning> warning,
                                       std::optional<std::int32_t> process) {
    const std::lock_guard lock(m_mutex);
    m_warning = std::move(warning);
    m_process = process;
    if (m_warning) {
        m_change = HealthTrend::Change{HealthTrend::Change::Kind::warning,
                                       "WARNING: ", m_warning->failures};
    }
}

// Only what the test set replaces what the controller found.
ServiceSnapshot TransientStatusController::edited(ServiceSnapshot snapshot) {
    const std::lock_guard lock(m_mutex);
    if (m_status) {
        snapshot.status = *m_status;
    }
    if (m_warning) {
        snapshot.healthWarning = m_warning;
    }
    if (m_change) {
        snapshot.healthChange = std::exchange(m_change, std::nullopt);
    }
    if (m_process) {
        snapshot.processIdentifier = m_process;
        snapshot.socatRuntimeStatus = SocatRuntimeStatus::trackedSocat(*m_process);
    }
    if (m_vanished) {
        snapshot.status = ServiceStatus::running;
        snapshot.processIdentifier.reset();
        snapshot.socatRuntimeStatus = SocatRuntimeStatus::notListening();
    }
    return snapshot;
}

bool reachStatus(AppViewModel& model, AppHarness& harness, TransientStatusController& controller,
                 ServiceStatus status) {
    switch (status) {
    case ServiceStatus::stopped:
        break;
    case ServiceStatus::running:
        model.startService();
        break;
    case ServiceStatus::failed:
        harness.machine.spawn("nginx", ForwarderConfig::defaultListenPort);
        model.startService();
        break;
    case ServiceStatus::starting:
    case ServiceStatus::stopping:
    case ServiceStatus::checking: {
        controller.reportStatus(status);
        model.checkNow();
        const bool reported = waitFor([&] { return model.serviceStatus() == status; });
        controller.reportStatus(std::nullopt);
        return reported;
    }
    }
    return waitFor([&] { return model.serviceStatus() == status; });
}

} // namespace velquor::test
