#pragma once

#include <cstdint>

namespace velquor {

// Claims a listen port for this program before a forwarder starts on it, so that two programs
// running on different files never forward on one port, nor free it of each other's forwarder.
class PortClaiming {
public:
    PortClaiming() = default;
    virtual ~PortClaiming() = default;
    PortClaiming(const PortClaiming&) = delete;
    PortClaiming& operator=(const PortClaiming&) = delete;

    // Holds the port from now on, in place of the port claimed before. Throws
    // SocatManagerError::portClaimedByAnotherProgram, and claims nothing, when another live
    // program holds it.
    virtual void claim(std::int64_t port) = 0;
};

} // namespace velquor
