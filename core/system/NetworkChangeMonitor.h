#pragma once

#include "core/files/FileDescriptor.h"

namespace velquor {

// Tells qarvexd, without Qt, that a network route or address appeared, changed or went away:
// a non-blocking netlink route socket whose descriptor goes into ppoll (or a QSocketNotifier).
// Link messages are not subscribed to: wireless drivers send them for every scan, which would
// wake the service for nothing; a link that comes up or goes down changes addresses and routes.
class NetworkChangeMonitor {
public:
    // Throws std::system_error.
    NetworkChangeMonitor();

    int descriptor() const noexcept { return m_socket.get(); }

    // Reads every pending message without blocking. True when one of them adds, replaces or
    // removes an address or a route, or when the kernel dropped messages because we read too
    // late (then anything may have changed). Throws std::system_error on other read errors.
    bool drain();

private:
    FileDescriptor m_socket;
};

} // namespace velquor
