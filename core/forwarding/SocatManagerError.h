#pragma once

#include "core/Error.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velquor {

class SocatManagerError : public Error {
public:
    enum class Kind {
        portOccupiedByUnknownProcess,
        processAlreadyRunning,
        noTrackedProcess,
        targetReachesListener,
        portClaimedByAnotherProgram
    };

    static SocatManagerError portOccupiedByUnknownProcess(std::string host, std::int64_t port);
    static SocatManagerError processAlreadyRunning();
    static SocatManagerError noTrackedProcess();
    // The target leads back to our own listener: socat would fork until no process is left.
    static SocatManagerError targetReachesListener(std::string host, std::int64_t port);
    // Another program forwards on the port, or is about to:
    // portClaimedByAnotherProgram(port: 18082, holder: "qarvexd (PID 1234)").
    static SocatManagerError portClaimedByAnotherProgram(std::int64_t port, std::string holder);

    Kind kind() const noexcept { return m_kind; }
    const std::string& host() const noexcept { return m_host; }
    std::int64_t port() const noexcept { return m_port; }

    bool operator==(const SocatManagerError& other) const {
        return m_kind == other.m_kind && m_host == other.m_host && m_port == other.m_port &&
               std::string_view(what()) == other.what();
    }

private:
    SocatManagerError(Kind kind, std::string host, std::int64_t port, std::string text);

    Kind m_kind;
    std::string m_host;
    std::int64_t m_port;
};

} // namespace velquor
