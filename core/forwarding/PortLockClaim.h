#pragma once

#include "core/files/PortLock.h"
#include "core/forwarding/PortClaiming.h"

#include <optional>

namespace velquor {

// Claims through the PortLock of the port, the one the instance lock takes at program start
// for the configured port: a name this process holds already counts as claimed.
class PortLockClaim : public PortClaiming {
public:
    void claim(std::int64_t port) override;

private:
    std::optional<std::int64_t> m_port;
    std::optional<PortLock> m_lock;
};

} // namespace velquor
