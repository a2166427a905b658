#pragma once

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "tests/support/FakeForwarding.h"
#include "tests/support/Files.h"
#include "tests/support/ScriptedResolver.h"
#include "tests/support/TemporaryDirectory.h"

#include <QTest>
#include <nlohmann/json.hpp>

#include <functional>
#include <memory>

namespace velquor::test {

// A view model over a real controller whose processes, probes and discovery are doubles and
// whose files live in a temporary folder.
class AppHarness {
public:
    ~AppHarness();

    // Builds the view model (by default over a plain controller) and waits until loading has
    // finished.
    AppViewModel& start(std::shared_ptr<ServiceController> controller = nullptr,
                        std::unique_ptr<DesktopNotifying> notifier = nullptr);

    template <class Controller = ServiceController> std::shared_ptr<Controller> makeController() {
        return std::make_shared<Controller>(ConfigStore(configFile), LogManager(logFile),
                                            std::make_unique<ScriptedResolver>(discovery),
                                            makeFakeSocatManager(machine));
    }

    // The application's surroundings, all inside the temporary folder.
    AppEnvironment environment() const {
        return AppEnvironment{autostartFolder, folder / "logs", "/usr/bin/socat", nullptr};
    }
    std::string logText() const { return readFile(logFile); }
    void writeConfig(const std::function<void(ForwarderConfig&)>& edit) {
        auto config = ForwarderConfig::defaults();
        edit(config);
        std::filesystem::create_directories(configFile.parent_path());
        writeFile(configFile, config.toJson().dump());
    }
    ForwarderConfig storedConfig() const {
        return ForwarderConfig::fromJson(nlohmann::json::parse(readFile(configFile)));
    }

    TemporaryDirectory folder;
    DiscoveryScript discovery;
    FakeMachine machine;
    std::filesystem::path configFile = folder / "config" / "config.json";
    std::filesystem::path logFile = folder / "logs" / "service.log";
    std::filesystem::path autostartFolder = folder / "autostart";

private:
    std::unique_ptr<AppViewModel> m_model;
};

// The status's name in the code, for test and screenshot names.
inline QString statusName(ServiceStatus status) {
    return QString::fromLatin1(serviceStatusName(status));
}

// Runs the event loop until the condition holds; false when the deadline passed first.
inline bool waitFor(const std::function<bool()>& condition, int milliseconds = 30000) {
    return QTest::qWaitFor(condition, milliseconds);
}

} // namespace velquor::test
