#pragma once

#include "core/forwarding/ForwarderErrorPipe.h"

#include <filesystem>
#include <memory>

namespace velquor {

// The places outside the controller that the application touches.
struct AppEnvironment {
    std::filesystem::path launchAgentsDirectory; // where the start-at-login file goes
    std::filesystem::path logsDirectory;         // the folder the logs page opens
    std::filesystem::path socatExecutable;       // shown on the status page
    // The pipe the controller's socat writes its standard error to, read by the view model;
    // without one, socat writes to ours.
    std::shared_ptr<const ForwarderErrorPipe> forwarderErrors;

    static AppEnvironment forCurrentUser();
};

} // namespace velquor
