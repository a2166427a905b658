#include "VelquorApp/AppViewModel/ControllerWorker.h"

namespace velquor {

ControllerWorker::ControllerWorker(std::shared_ptr<ServiceController> controller)
    : m_controller(std::move(controller)) {
    m_pool.setMaxThreadCount(1);
    m_pool.setExpiryTimeout(-1); // one thread for the whole life, not one per burst
}

ControllerWorker::~ControllerWorker() {
    m_pool.waitForDone();
}

} // namespace velquor
