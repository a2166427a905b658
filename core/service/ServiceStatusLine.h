#pragma once

#include "core/service/ServiceSnapshot.h"

#include <chrono>
#include <optional>
#include <string>

namespace velquor {

// The one line a person reads in `systemctl status`: where forwarding goes and when it was last
// checked, or why it does not forward, e.g. "Forwarding 127.0.0.1:18082 -> 10.0.0.5:3260; last
// check 10:00:00" or "Failed: <error>; retrying in 10 s". Control characters of an error become
// spaces, and a long error is cut, so the line stays one short line.
class ServiceStatusLine {
public:
    // retryIn: how long until a failed start is tried again, when one is planned.
    static std::string compose(const ServiceSnapshot& snapshot,
                               std::optional<std::chrono::seconds> retryIn);

    static constexpr std::size_t errorLimit = 300;
};

} // namespace velquor
