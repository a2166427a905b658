#include "core/service/FileLocations.h"

#include "core/files/UserFolders.h"

namespace velquor {

FileLocations FileLocations::forCurrentUser() {
    FileLocations locations;
    locations.applicationFolder = UserFolders::xdg("XDG_CONFIG_HOME", ".config") / "Velquor";
    locations.configFile = locations.applicationFolder / "config.json";
    locations.logFolder = UserFolders::xdg("XDG_STATE_HOME", ".local/state") / "Velquor";
    locations.logFile = locations.logFolder / "service.log";
    return locations;
}

} // namespace velquor
