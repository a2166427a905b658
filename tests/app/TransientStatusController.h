#pragma once

#include "core/service/ServiceController.h"
#include "tests/app/AppHarness.h"

#include <atomic>
#include <memory>
#include <optional>

namespace velquor::test {

// A real controller over the harness's doubles whose check can be made to report a status the
// controller otherwise holds only while an operation runs (starting, stopping, checking), so
// that a view can be seen in it.
class TransientStatusController : public ServiceController {
public:
    static std::shared_ptr<TransientStatusController> over(AppHarness& harness);

    using ServiceController::ServiceController;

    // The status the next checks report; nullopt reports the real one again.
    void reportOnCheck(std::optional<ServiceStatus> status);
    ServiceSnapshot checkNow() override;

private:
    static constexpr int none = -1;
    std::atomic<int> m_reported{none};
};

// Brings the view model to a status: stopped is where loading ends; running and failed come
// from real commands over the doubles (failed: another program holds the listen port); the
// states the controller holds only during an operation are reported by its check. False when
// the status was not reached in time.
bool reachStatus(AppViewModel& model, AppHarness& harness, TransientStatusController& controller,
                 ServiceStatus status);

} // namespace velquor::test
