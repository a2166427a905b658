#pragma once

#include "core/process/ProcessExitWatch.h"
#include "core/service/ServiceSnapshot.h"

#include <cstdint>
#include <optional>

namespace velquor {

// Which forwarder's exit calls for an early health check: the child we started, or a socat that
// an earlier run left on our listen address (found at start and kept, as the safety rule
// allows us to signal it: command exactly "socat", holding our port).
class ForwarderToWatch {
public:
    // The forwarder the snapshot shows running, ours or found on the port; nothing otherwise.
    static std::optional<std::int32_t> processIdentifier(const ServiceSnapshot& snapshot);

    // A watch on that forwarder when it is ours to heal; nothing when there is none, it is not
    // provably ours or it was gone before the watch opened. For one found on the port the watch
    // is opened before its identity is checked, so that it cannot follow a later process given
    // the same pid; one that dies during the check is watched, its exit being due at once.
    static std::optional<ProcessExitWatch> open(const ServiceSnapshot& snapshot);
};

} // namespace velquor
