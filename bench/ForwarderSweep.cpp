#include "bench/ForwarderSweep.h"

#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/NetworkPortChecker.h"

#include <csignal>
#include <thread>

namespace velquor::bench {

void ForwarderSweep::killSocatsOn(std::int64_t port) noexcept {
    try {
        LsofListenerProbe probe(LsofListenerProbe::defaultLsofPath());
        for (const auto& process : probe.processes("127.0.0.1", port)) {
            if (process.isSocat() && process.processIdentifier > 0) {
                ::kill(process.processIdentifier, SIGKILL);
            }
        }
    } catch (...) {
        // Cleanup must go on with whatever else there is to stop.
    }
}

bool ForwarderSweep::waitUntilFree(std::int64_t port, std::chrono::milliseconds deadline) noexcept {
    const auto until = std::chrono::steady_clock::now() + deadline;
    NetworkPortChecker checker;
    while (checker.isListening("127.0.0.1", port)) {
        if (std::chrono::steady_clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace velquor::bench
