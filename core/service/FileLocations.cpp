#include "core/service/FileLocations.h"

#include <cstdlib>
#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace velquor {

namespace {

std::filesystem::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return home;
    }
    if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir) {
        return entry->pw_dir;
    }
    throw std::runtime_error("cannot find the home folder of this user");
}

// An XDG variable counts only when it holds an absolute path.
std::filesystem::path xdgFolder(const char* variable, const std::filesystem::path& fallback) {
    if (const char* value = std::getenv(variable); value != nullptr && *value == '/') {
        return value;
    }
    return homeFolder() / fallback;
}

} // namespace

FileLocations FileLocations::forCurrentUser() {
    FileLocations locations;
    locations.applicationFolder = xdgFolder("XDG_CONFIG_HOME", ".config") / "Velquor";
    locations.configFile = locations.applicationFolder / "config.json";
    locations.logFolder = xdgFolder("XDG_STATE_HOME", ".local/state") / "Velquor";
    locations.logFile = locations.logFolder / "service.log";
    return locations;
}

} // namespace velquor
