#pragma once

#include "core/forwarding/SocatProcessLaunching.h"

#include <functional>
#include <memory>

namespace velquor {

// Launches through another launcher until a stop was asked for, and then never again: a start
// that was already under way when the signal came (the controller falls back to the cached
// target when the cancelled lookup fails) must not leave a forwarder behind the exit.
class StopGuardedLauncher : public SocatProcessLaunching {
public:
    StopGuardedLauncher(std::unique_ptr<SocatProcessLaunching> launcher,
                        std::function<bool()> stopRequested);

    // Throws std::system_error (ECANCELED) once a stop was asked for.
    std::unique_ptr<SocatProcess> launch(const SocatCommand& command) override;

private:
    std::unique_ptr<SocatProcessLaunching> m_launcher;
    std::function<bool()> m_stopRequested;
};

} // namespace velquor
