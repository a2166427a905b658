#pragma once

#include "core/Error.h"

#include <cstdint>
#include <string>

namespace velquor {

class SocatManagerError : public Error {
public:
    enum class Kind { portOccupiedByUnknownProcess, processAlreadyRunning, noTrackedProcess };

    static SocatManagerError portOccupiedByUnknownProcess(std::string host, std::int64_t port);
    static SocatManagerError processAlreadyRunning();
    static SocatManagerError noTrackedProcess();

    Kind kind() const noexcept { return m_kind; }
    const std::string& host() const noexcept { return m_host; }
    std::int64_t port() const noexcept { return m_port; }

    bool operator==(const SocatManagerError& other) const {
        return m_kind == other.m_kind && m_host == other.m_host && m_port == other.m_port;
    }

private:
    SocatManagerError(Kind kind, std::string host, std::int64_t port, std::string text);

    Kind m_kind;
    std::string m_host;
    std::int64_t m_port;
};

} // namespace velquor
