#include "core/forwarding/PosixSocatProcessLauncher.h"

#include "core/forwarding/PosixSocatProcess.h"
#include "core/process/ChildReaper.h"
#include "core/process/ProcessSpawner.h"

#include <unistd.h>

namespace velquor {

std::unique_ptr<SocatProcess> PosixSocatProcessLauncher::launch(const SocatCommand& command) {
    ProcessSpawner spawner;
    if (m_errors) {
        spawner.mapDescriptor(m_errors->writeDescriptor(), STDERR_FILENO);
    }
    const auto pid = spawner.spawn(command.executableURL, command.arguments);
    try {
        return std::make_unique<PosixSocatProcess>(pid);
    } catch (...) {
        // Nobody would know of the child: end it rather than leave an untracked forwarder.
        ChildReaper::endAndAdopt(pid);
        throw;
    }
}

} // namespace velquor
