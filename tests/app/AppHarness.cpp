#include "tests/app/AppHarness.h"

#include <QSignalSpy>

namespace velquor::test {

AppHarness::~AppHarness() {
    // The view model waits for the controller's work; let queued resumptions run out.
    m_model.reset();
    QCoreApplication::processEvents();
}

AppViewModel& AppHarness::start(std::shared_ptr<ServiceController> controller,
                                std::unique_ptr<DesktopNotifying> notifier) {
    m_model = std::make_unique<AppViewModel>(controller ? std::move(controller) : makeController(),
                                             environment(), std::move(notifier));
    QSignalSpy loaded(m_model.get(), &AppViewModel::loaded);
    if (!loaded.wait(30000)) {
        throw std::runtime_error("the view model did not finish loading");
    }
    return *m_model;
}

} // namespace velquor::test
