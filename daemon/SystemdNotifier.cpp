#include "daemon/SystemdNotifier.h"

#include <algorithm>
#include <cstdint>
#include <systemd/sd-daemon.h>

namespace velquor {

void SystemdNotifier::notify(const std::string& assignments) {
    // The variables stay set: children ignore them, and with NotifyAccess=main systemd would
    // ignore what they sent.
    ::sd_notify(0, assignments.c_str());
}

std::optional<std::chrono::microseconds> SystemdNotifier::watchdogTimeout() {
    std::uint64_t timeout = 0;
    if (::sd_watchdog_enabled(0, &timeout) <= 0) {
        return std::nullopt;
    }
    // Past what a signed count of microseconds holds it is as good as no watchdog.
    constexpr auto limit = static_cast<std::uint64_t>(std::chrono::microseconds::max().count());
    return std::chrono::microseconds(static_cast<std::int64_t>(std::min(timeout, limit)));
}

} // namespace velquor
