#include "core/service/DefaultController.h"

#include "core/discovery/CurlHttpSession.h"
#include "core/discovery/TargetResolver.h"
#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/PortLockClaim.h"
#include "core/forwarding/PosixProcessTerminator.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/forwarding/ProcForwarderOwnershipChecker.h"
#include "core/forwarding/SystemAddressResolver.h"

#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

bool isExecutableFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace

const std::vector<std::filesystem::path>& DefaultController::systemSocatCandidates() {
    static const std::vector<std::filesystem::path> candidates = {
        "/opt/homebrew/bin/socat", "/usr/local/bin/socat", "/usr/bin/socat"};
    return candidates;
}

std::filesystem::path DefaultController::runningProgramFolder() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path() : program.parent_path();
}

std::filesystem::path DefaultController::resolveSocatURL() {
    return resolveSocatURL(runningProgramFolder(), systemSocatCandidates());
}

std::filesystem::path
DefaultController::resolveSocatURL(const std::filesystem::path& programFolder,
                                   const std::vector<std::filesystem::path>& systemCandidates) {
    if (!programFolder.empty()) {
        const auto bundled = programFolder / ".." / "libexec" / "velquor" / "socat";
        if (isExecutableFile(bundled)) {
            return bundled.lexically_normal();
        }
    }
    for (std::size_t i = 0; i + 1 < systemCandidates.size(); ++i) {
        if (isExecutableFile(systemCandidates[i])) {
            return systemCandidates[i];
        }
    }
    return systemCandidates.empty() ? std::filesystem::path("/usr/bin/socat")
                                    : systemCandidates.back();
}

std::unique_ptr<ServiceController> DefaultController::makeDefaultController() {
    return makeDefaultController(FileLocations::forCurrentUser());
}

std::unique_ptr<ServiceController>
DefaultController::makeDefaultController(const FileLocations& locations) {
    return makeDefaultController(locations, std::make_unique<PosixSocatProcessLauncher>(),
                                 std::make_unique<CurlHttpSession>());
}

std::unique_ptr<ServiceController> DefaultController::makeDefaultController(
    const FileLocations& locations, std::unique_ptr<SocatProcessLaunching> processLauncher,
    std::unique_ptr<HttpSession> httpSession, std::shared_ptr<LogMirroring> logMirror) {
    auto socatManager = std::make_unique<SocatManager>(
        resolveSocatURL(), std::make_unique<NetworkPortChecker>(), std::move(processLauncher),
        std::make_unique<LsofListenerProbe>(LsofListenerProbe::defaultLsofPath()),
        std::make_unique<PosixProcessTerminator>(),
        std::make_unique<ProcForwarderOwnershipChecker>(),
        std::make_unique<SystemAddressResolver>(), std::make_unique<PortLockClaim>());
    return std::make_unique<ServiceController>(
        ConfigStore(locations.configFile), LogManager(locations.logFile, std::move(logMirror)),
        std::make_unique<TargetResolver>(std::move(httpSession)), std::move(socatManager),
        std::make_unique<NetworkPortChecker>());
}

} // namespace velquor
