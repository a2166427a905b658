#pragma once

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "tests/support/FakeForwarding.h"
#include "tests/support/ScriptedResolver.h"
#include "tests/support/TemporaryDirectory.h"

#include <QTest>

#include <array>
#include <functional>
#include <memory>

namespace velquor::test {

// A view model over a real controller whose processes, probes and discovery are doubles and
// whose files live in a temporary folder.
class AppHarness {
public:
    AppHarness();
    ~AppHarness();

    // Builds the controller and the view model, and waits until loading has finished.
    AppViewModel& start(std::shared_ptr<ServiceController> controller = nullptr);
    std::shared_ptr<ServiceController> makeController();

    AppViewModel& model() { return *m_model; }
    // The application's surroundings, all inside the temporary folder.
    AppEnvironment environment() const;
    std::string logText() const;
    void writeConfig(const std::function<void(ForwarderConfig&)>& edit);
    ForwarderConfig storedConfig() const;

    TemporaryDirectory folder;
    DiscoveryScript discovery;
    FakeMachine machine;
    std::filesystem::path configFile = folder / "config" / "config.json";
    std::filesystem::path logFile = folder / "logs" / "service.log";
    std::filesystem::path autostartFolder = folder / "autostart";

private:
    std::unique_ptr<AppViewModel> m_model;
};

inline constexpr std::array allServiceStatuses = {ServiceStatus::stopped, ServiceStatus::starting,
                                                  ServiceStatus::running, ServiceStatus::stopping,
                                                  ServiceStatus::failed,  ServiceStatus::checking};

// The status's name in the code, for test and screenshot names.
inline QString statusName(ServiceStatus status) {
    return QString::fromLatin1(serviceStatusName(status));
}

// Runs the event loop until the condition holds; false when the deadline passed first.
bool waitFor(const std::function<bool()>& condition, int milliseconds = 30000);

} // namespace velquor::test
