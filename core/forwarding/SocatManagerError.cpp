#include "core/forwarding/SocatManagerError.h"

#include "core/text/QuotedText.h"

namespace velquor {

SocatManagerError::SocatManagerError(Kind kind, std::string host, std::int64_t port,
                                     std::string text)
    : Error(std::move(text)), m_kind(kind), m_host(std::move(host)), m_port(port) {}

namespace {

std::string hostAndPortText(const std::string& caseName, const std::string& host,
                            std::int64_t port) {
    return caseName + "(host: " + quotedText(host) + ", port: " + std::to_string(port) + ")";
}

} // namespace

SocatManagerError SocatManagerError::portOccupiedByUnknownProcess(std::string host,
                                                                  std::int64_t port) {
    auto text = hostAndPortText("portOccupiedByUnknownProcess", host, port);
    return {Kind::portOccupiedByUnknownProcess, std::move(host), port, std::move(text)};
}

SocatManagerError SocatManagerError::targetReachesListener(std::string host, std::int64_t port) {
    auto text = hostAndPortText("targetReachesListener", host, port);
    return {Kind::targetReachesListener, std::move(host), port, std::move(text)};
}

SocatManagerError SocatManagerError::processAlreadyRunning() {
    return {Kind::processAlreadyRunning, {}, 0, "processAlreadyRunning"};
}

SocatManagerError SocatManagerError::noTrackedProcess() {
    return {Kind::noTrackedProcess, {}, 0, "noTrackedProcess"};
}

SocatManagerError SocatManagerError::portClaimedByAnotherProgram(std::int64_t port,
                                                                 std::string holder) {
    auto text = "portClaimedByAnotherProgram(port: " + std::to_string(port) +
                ", holder: " + quotedText(holder) + ")";
    return {Kind::portClaimedByAnotherProgram, {}, port, std::move(text)};
}

} // namespace velquor
