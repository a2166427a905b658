#pragma once

#include "core/config/TargetEndpoint.h"
#include "core/forwarding/AddressResolving.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velquor {

// Tells whether a connection to the target would arrive at our own listener: socat would then
// relay each connection to itself and fork until no process is left. Names are resolved, as
// socat resolves them, so that a host name of this machine is seen as well as an address.
class ListenerReach {
public:
    explicit ListenerReach(std::unique_ptr<AddressResolving> resolver);

    // Throws SocatManagerError::targetReachesListener when, at the listen port, one address of
    // the target is the listen address or, for a wildcard listener, an address of this machine.
    // A target that does not resolve now passes: socat resolves it at each connection.
    void refuseTargetReachingListener(const std::string& listenHost, std::int64_t listenPort,
                                      const TargetEndpoint& target);

private:
    bool reaches(const IpAddress& target, const IpAddress& listener);

    std::unique_ptr<AddressResolving> m_resolver;
};

} // namespace velquor
