#pragma once

#include "support/harness/Loopback.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace velquor::test {

// A TCP port on 127.0.0.1 that nothing listens on right now, chosen by the kernel.
inline std::int64_t freeTcpPort() {
    return harness::Loopback::freePort();
}

// Whether a socket listens on 127.0.0.1:port, as /proc/net/tcp tells: unlike a connect probe it
// makes no connection, which a forwarder would pass on to its target.
inline bool listensOnLoopback(std::int64_t port) {
    char wanted[32];
    std::snprintf(wanted, sizeof wanted, "0100007F:%04lX", static_cast<unsigned long>(port));
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string slot, local, remote, state;
        fields >> slot >> local >> remote >> state;
        if (local == wanted && state == "0A") {
            return true;
        }
    }
    return false;
}

} // namespace velquor::test
