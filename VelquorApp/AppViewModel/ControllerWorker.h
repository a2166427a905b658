#pragma once

#include "core/service/ServiceController.h"

#include <QFuture>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrent>

#include <memory>

namespace velquor {

// Runs controller operations one at a time, in call order, on one thread of its own, so that
// the controller is used serially and the main thread never waits for it.
class ControllerWorker {
public:
    explicit ControllerWorker(std::shared_ptr<ServiceController> controller);
    // Waits for the operations already handed over: the controller must not outlive them.
    ~ControllerWorker();
    ControllerWorker(const ControllerWorker&) = delete;
    ControllerWorker& operator=(const ControllerWorker&) = delete;

    template <typename Operation>
    auto run(Operation operation)
        -> QFuture<decltype(operation(std::declval<ServiceController&>()))> {
        return QtConcurrent::run(&m_pool,
                                 [controller = m_controller, operation = std::move(operation)] {
                                     return operation(*controller);
                                 });
    }

private:
    std::shared_ptr<ServiceController> m_controller;
    QThreadPool m_pool;
};

} // namespace velquor
