#pragma once

#include "core/config/TargetEndpoint.h"

#include <optional>
#include <string>

namespace velquor {

// What one health check found wrong. Several things can fail in the same check; none set means
// the check passed.
struct HealthFindings {
    // Discovery could not be reached and this cached target was used instead.
    std::optional<TargetEndpoint> cachedTargetUsed;
    // The target itself did not accept a TCP connection.
    std::optional<TargetEndpoint> targetRefusing;
    // The status stayed failed; the last error text, possibly empty.
    std::optional<std::string> failedWith;

    bool passed() const noexcept { return !cachedTargetUsed && !targetRefusing && !failedWith; }

    // English, for the log: the parts joined by "; ", e.g. "discovery unreachable, using cached
    // target 10.0.0.9:3260; target 10.0.0.9:3260 refuses connections".
    std::string text() const;

    bool operator==(const HealthFindings&) const = default;
};

} // namespace velquor
