#include "tests/app/TransientStatusController.h"

namespace velquor::test {

std::shared_ptr<TransientStatusController> TransientStatusController::over(AppHarness& harness) {
    return std::make_shared<TransientStatusController>(
        ConfigStore(harness.configFile), LogManager(harness.logFile),
        std::make_unique<ScriptedResolver>(harness.discovery),
        makeFakeSocatManager(harness.machine));
}

void TransientStatusController::reportOnCheck(std::optional<ServiceStatus> status) {
    m_reported = status ? static_cast<int>(*status) : none;
}

ServiceSnapshot TransientStatusController::checkNow() {
    auto snapshot = ServiceController::checkNow();
    if (const int reported = m_reported; reported != none) {
        snapshot.status = static_cast<ServiceStatus>(reported);
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
        controller.reportOnCheck(status);
        model.checkNow();
        const bool reported = waitFor([&] { return model.serviceStatus() == status; });
        controller.reportOnCheck(std::nullopt);
        return reported;
    }
    }
    return waitFor([&] { return model.serviceStatus() == status; });
}

} // namespace velquor::test
