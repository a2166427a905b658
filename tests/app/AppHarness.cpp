#include "tests/app/AppHarness.h"

#include "tests/support/Files.h"

#include <QSignalSpy>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace velquor::test {

AppHarness::AppHarness() = default;

AppHarness::~AppHarness() {
    // The view model waits for the controller's work; let queued resumptions run out.
    m_model.reset();
    QCoreApplication::processEvents();
}

std::shared_ptr<ServiceController> AppHarness::makeController() {
    return std::make_shared<ServiceController>(ConfigStore(configFile), LogManager(logFile),
                                               std::make_unique<ScriptedResolver>(discovery),
                                               makeFakeSocatManager(machine));
}

AppViewModel& AppHarness::start(std::shared_ptr<ServiceController> controller) {
    m_model = std::make_unique<AppViewModel>(controller ? std::move(controller) : makeController(),
                                             environment());
    QSignalSpy loaded(m_model.get(), &AppViewModel::loaded);
    if (!loaded.wait(30000)) {
        throw std::runtime_error("the view model did not finish loading");
    }
    return *m_model;
}

AppEnvironment AppHarness::environment() const {
    return AppEnvironment{autostartFolder, folder / "logs", "/usr/bin/socat"};
}

std::string AppHarness::logText() const {
    return readFile(logFile);
}

void AppHarness::writeConfig(const std::function<void(ForwarderConfig&)>& edit) {
    auto config = ForwarderConfig::defaults();
    edit(config);
    std::filesystem::create_directories(configFile.parent_path());
    std::ofstream(configFile) << config.toJson().dump();
}

ForwarderConfig AppHarness::storedConfig() const {
    std::ifstream in(configFile);
    return ForwarderConfig::fromJson(nlohmann::json::parse(in));
}

bool waitFor(const std::function<bool()>& condition, int milliseconds) {
    return QTest::qWaitFor(condition, milliseconds);
}

} // namespace velquor::test
