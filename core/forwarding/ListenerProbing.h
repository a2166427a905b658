#pragma once

#include "core/forwarding/ListenerProcess.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// Finds which processes hold a TCP port.
class ListenerProbing {
public:
    virtual ~ListenerProbing() = default;

    // The process listening on host:port, if one is found.
    virtual std::optional<ListenerProcess> listener(const std::string& host, std::int64_t port) = 0;
    // Every process with a TCP socket on the port, listening or connected, in the order found.
    virtual std::vector<ListenerProcess> processes(const std::string& host, std::int64_t port) = 0;
};

} // namespace velquor
