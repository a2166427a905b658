#include "daemon/StopGuardedLauncher.h"

#include <cerrno>
#include <system_error>

namespace velquor {

StopGuardedLauncher::StopGuardedLauncher(std::unique_ptr<SocatProcessLaunching> launcher,
                                         std::function<bool()> stopRequested)
    : m_launcher(std::move(launcher)), m_stopRequested(std::move(stopRequested)) {}

std::unique_ptr<SocatProcess> StopGuardedLauncher::launch(const SocatCommand& command) {
    if (m_stopRequested()) {
        throw std::system_error(ECANCELED, std::generic_category(),
                                "launching " + command.executableURL.string() +
                                    ": the service is stopping");
    }
    return m_launcher->launch(command);
}

} // namespace velquor
