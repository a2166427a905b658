#include "core/service/ForwarderToWatch.h"

#include "core/forwarding/ProcForwarderOwnershipChecker.h"

#include <system_error>

namespace velquor {

std::optional<std::int32_t> ForwarderToWatch::processIdentifier(const ServiceSnapshot& snapshot) {
    const auto kind = snapshot.socatRuntimeStatus.kind;
    if (kind != SocatRuntimeStatus::Kind::trackedSocat &&
        kind != SocatRuntimeStatus::Kind::externalSocat) {
        return std::nullopt;
    }
    return snapshot.processIdentifier;
}

std::optional<ProcessExitWatch> ForwarderToWatch::open(const ServiceSnapshot& snapshot) {
    const auto pid = processIdentifier(snapshot);
    if (!pid || *pid <= 0) {
        return std::nullopt;
    }
    std::optional<ProcessExitWatch> watch;
    try {
        watch.emplace(*pid);
    } catch (const std::system_error&) {
        return std::nullopt; // gone already: the next check finds out
    }
    if (snapshot.socatRuntimeStatus.kind != SocatRuntimeStatus::Kind::externalSocat ||
        ProcForwarderOwnershipChecker().forwarderIdentity(*pid, snapshot.config.listenHost,
                                                          snapshot.config.listenPort)) {
        return watch;
    }
    // One that died while we looked can no longer be told apart, but its exit is news either
    // way: the check it brings finds the port as it is.
    try {
        return watch->hasExited() ? std::move(watch) : std::nullopt;
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

} // namespace velquor
