#include "VelquorApp/AppViewModel/AppEnvironment.h"

#include "core/login/LaunchAgentManager.h"
#include "core/service/DefaultController.h"
#include "core/service/FileLocations.h"

namespace velquor {

AppEnvironment AppEnvironment::forCurrentUser() {
    return {LaunchAgentManager::defaultLaunchAgentsDirectory(),
            FileLocations::forCurrentUser().logFolder, DefaultController::resolveSocatURL(),
            nullptr};
}

} // namespace velquor
