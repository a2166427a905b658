#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velquor {

// A process told apart from a later one that is given the same identifier.
struct ProcessIdentity {
    std::int32_t processIdentifier = 0;
    std::uint64_t startTime = 0; // clock ticks after boot, as the kernel counts them

    bool operator==(const ProcessIdentity&) const = default;
};

// Decides whether a process the manager did not start is a forwarder on our own listen address,
// and so may be signalled. lsof's listing alone cannot say: it names look-alike programs, clients
// connected to the port and listeners on other addresses of the same port.
class ForwarderOwnershipChecking {
public:
    virtual ~ForwarderOwnershipChecking() = default;

    // The process's identity when its command is exactly "socat" and it holds a TCP socket whose
    // local side is the port on the host or on the wildcard address; nothing otherwise, also
    // when the process cannot be inspected.
    virtual std::optional<ProcessIdentity> forwarderIdentity(std::int32_t processIdentifier,
                                                             const std::string& host,
                                                             std::int64_t port) = 0;
    // True while the identifier still names that same socat.
    virtual bool isStillForwarder(const ProcessIdentity& identity) = 0;
    // True while that same process is stopped: it holds the port but serves nobody.
    virtual bool isStopped(const ProcessIdentity& identity) = 0;
};

} // namespace velquor
