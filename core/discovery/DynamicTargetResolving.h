#pragma once

#include "core/config/TargetEndpoint.h"
#include "core/net/Url.h"

#include <optional>

namespace velquor {

// Finds where the target is right now. Blocking.
class DynamicTargetResolving {
public:
    virtual ~DynamicTargetResolving() = default;

    virtual TargetEndpoint resolve(const Url& from) = 0;

    // A known target keeps the forwarder running through a failed look-up, so any failure
    // then yields the fallback and is dropped; without one the failure goes to the caller.
    virtual TargetEndpoint resolve(const Url& from, const std::optional<TargetEndpoint>& fallback);
};

} // namespace velquor
