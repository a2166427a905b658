#pragma once

#include "core/Error.h"

#include <cstdint>
#include <string>

namespace velquor {

class SocatManagerError : public Error {
public:
    enum class Kind {
        portOccupiedByUnknownProcess,
        processAlreadyRunning,
        noTrackedProcess,
        processExitedDuringStart,
        targetReachesListener
    };

    static SocatManagerError portOccupiedByUnknownProcess(std::string host, std::int64_t port);
    static SocatManagerError processAlreadyRunning();
    static SocatManagerError noTrackedProcess();
    // The child ended before it listened; status as SocatProcess::exitStatus gives it, -1 when
    // it could not be learned.
    static SocatManagerError processExitedDuringStart(int status);
    // The target leads back to our own listener: socat would fork until no process is left.
    static SocatManagerError targetReachesListener(std::string host, std::int64_t port);

    Kind kind() const noexcept { return m_kind; }
    const std::string& host() const noexcept { return m_host; }
    std::int64_t port() const noexcept { return m_port; }
    int status() const noexcept { return m_status; }

    bool operator==(const SocatManagerError& other) const {
        return m_kind == other.m_kind && m_host == other.m_host && m_port == other.m_port &&
               m_status == other.m_status;
    }

private:
    SocatManagerError(Kind kind, std::string host, std::int64_t port, std::string text,
                      int status = 0);

    Kind m_kind;
    std::string m_host;
    std::int64_t m_port;
    int m_status;
};

} // namespace velquor
