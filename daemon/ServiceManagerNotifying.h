#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace velquor {

// The service manager that started qarvexd, as far as qarvexd tells it how it is.
class ServiceManagerNotifying {
public:
    virtual ~ServiceManagerNotifying() = default;

    // One message of assignments, one a line: "READY=1\nSTATUS=Forwarding ...".
    virtual void notify(const std::string& assignments) = 0;

    // How long the manager waits for a sign of life before it ends the service; nothing when
    // it does not watch.
    virtual std::optional<std::chrono::microseconds> watchdogTimeout() = 0;
};

} // namespace velquor
