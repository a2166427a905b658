#pragma once

#include <filesystem>

namespace velquor {

// The places outside the controller that the application touches.
struct AppEnvironment {
    std::filesystem::path launchAgentsDirectory; // where the start-at-login file goes
    std::filesystem::path logsDirectory;         // the folder the logs page opens
    std::filesystem::path socatExecutable;       // shown on the status page

    static AppEnvironment forCurrentUser();
};

} // namespace velquor
