#pragma once

#include "core/service/ServiceStatus.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace velquor {

// qarvexd has no user to press start again, and the health check leaves a failed start alone:
// so while the status stays failed the service starts again by itself, first after five
// seconds and then twice as long each time, never longer than the check interval. A cause that
// is gone (discovery back, a port freed, an address up) then no longer ends forwarding for the
// whole run. Any other status ends the run of attempts; the next failure begins anew.
class FailedStartRetry {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds firstDelay{5};

    // The status after any operation of the controller.
    void statusSeen(ServiceStatus status, Clock::time_point at, std::chrono::milliseconds interval);

    // When the next attempt is due; nothing while none is.
    std::optional<Clock::time_point> dueAt() const noexcept { return m_dueAt; }

    // When an attempt is due at `now`: the line to log before starting, e.g. "Retrying start
    // after failure (attempt 2); next retry in 10 s".
    std::optional<std::string> takeDue(Clock::time_point now, std::chrono::milliseconds interval);

private:
    std::optional<Clock::time_point> m_dueAt;
    std::chrono::milliseconds m_delay = firstDelay;
    // The first attempt was the start that failed.
    std::int64_t m_attempt = 1;
};

} // namespace velquor
