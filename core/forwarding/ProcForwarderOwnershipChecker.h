#pragma once

#include "core/forwarding/ForwarderOwnershipChecking.h"

namespace velquor {

// Reads the answer from /proc: the command from /proc/PID/comm, the state and start time from
// /proc/PID/stat, the sockets from the links in /proc/PID/fd, and their local addresses from
// /proc/net/tcp and /proc/net/tcp6 (this process's network namespace: a socket elsewhere is
// not on our address). A process of another user whose descriptors cannot be read is not ours.
class ProcForwarderOwnershipChecker : public ForwarderOwnershipChecking {
public:
    std::optional<ProcessIdentity> forwarderIdentity(std::int32_t processIdentifier,
                                                     const std::string& host,
                                                     std::int64_t port) override;
    bool isStillForwarder(const ProcessIdentity& identity) override;
    bool isStopped(const ProcessIdentity& identity) override;

    // The identity of a process whose command is exactly "socat"; nothing for any other.
    static std::optional<ProcessIdentity> socatIdentity(std::int32_t processIdentifier);
};

} // namespace velquor
