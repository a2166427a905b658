#include "core/forwarding/SocatManagerError.h"

namespace velquor {

SocatManagerError::SocatManagerError(Kind kind, std::string host, std::int64_t port,
                                     std::string text, int status)
    : Error(std::move(text)), m_kind(kind), m_host(std::move(host)), m_port(port),
      m_status(status) {}

SocatManagerError SocatManagerError::portOccupiedByUnknownProcess(std::string host,
                                                                  std::int64_t port) {
    auto text =
        "portOccupiedByUnknownProcess(host: \"" + host + "\", port: " + std::to_string(port) + ")";
    return {Kind::portOccupiedByUnknownProcess, std::move(host), port, std::move(text)};
}

SocatManagerError SocatManagerError::processAlreadyRunning() {
    return {Kind::processAlreadyRunning, {}, 0, "processAlreadyRunning"};
}

SocatManagerError SocatManagerError::noTrackedProcess() {
    return {Kind::noTrackedProcess, {}, 0, "noTrackedProcess"};
}

SocatManagerError SocatManagerError::processExitedDuringStart(int status) {
    return {Kind::processExitedDuringStart,
            {},
            0,
            "processExitedDuringStart(status: " + std::to_string(status) + ")",
            status};
}

} // namespace velquor
