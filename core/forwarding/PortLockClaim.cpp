#include "core/forwarding/PortLockClaim.h"

#include "core/forwarding/SocatManagerError.h"

#include <unistd.h>

namespace velquor {

void PortLockClaim::claim(std::int64_t port) {
    if (m_port == port) {
        return;
    }
    PortLock lock(port);
    if (!lock.isHeld()) {
        const auto& holder = lock.holder();
        if (!holder || holder->pid != ::getpid()) {
            throw SocatManagerError::portClaimedByAnotherProgram(port, holder ? holder->text()
                                                                              : "unknown");
        }
        m_lock.reset();
    } else {
        m_lock = std::move(lock);
    }
    m_port = port;
}

} // namespace velquor
