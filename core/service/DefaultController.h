#pragma once

#include "core/discovery/HttpSession.h"
#include "core/forwarding/SocatProcessLaunching.h"
#include "core/service/FileLocations.h"
#include "core/service/ServiceController.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace velquor {

// Builds the one controller of a program from the per-user file locations and the real
// processes, probes and HTTP client.
class DefaultController {
public:
    static std::unique_ptr<ServiceController> makeDefaultController();
    static std::unique_ptr<ServiceController> makeDefaultController(const FileLocations& locations);
    // The same with the process launcher and the HTTP client given, for a program that wraps
    // them (qarvexd makes both give up once it is asked to stop), and where the log's lines
    // are copied too (qarvexd's standard error).
    static std::unique_ptr<ServiceController>
    makeDefaultController(const FileLocations& locations,
                          std::unique_ptr<SocatProcessLaunching> processLauncher,
                          std::unique_ptr<HttpSession> httpSession,
                          std::shared_ptr<LogMirroring> logMirror = nullptr);

    // The socat shipped beside the program (<program folder>/../libexec/velquor/socat) wins;
    // then the first executable system candidate; then the last candidate unchecked, so that
    // a missing socat shows up as a launch error when forwarding starts.
    static std::filesystem::path resolveSocatURL();
    static std::filesystem::path
    resolveSocatURL(const std::filesystem::path& programFolder,
                    const std::vector<std::filesystem::path>& systemCandidates);

    static const std::vector<std::filesystem::path>& systemSocatCandidates();
    static std::filesystem::path runningProgramFolder();
};

} // namespace velquor
