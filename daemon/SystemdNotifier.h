#pragma once

#include "daemon/ServiceManagerNotifying.h"

namespace velquor {

// systemd's notification protocol through libsystemd. Without NOTIFY_SOCKET (not started by
// systemd, or not as Type=notify) a message goes nowhere, and without WATCHDOG_USEC (or with
// WATCHDOG_PID naming another process) nothing is watched.
class SystemdNotifier : public ServiceManagerNotifying {
public:
    void notify(const std::string& assignments) override;
    std::optional<std::chrono::microseconds> watchdogTimeout() override;
};

} // namespace velquor
