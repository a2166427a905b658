#pragma once

#include "support/harness/ServerProcess.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velquor::harness {

// A stand-in target that greets every connection with its banner line and hangs up, so that a
// client can tell through the forwarder which target it reached.
class BannerServer {
public:
    explicit BannerServer(std::string banner);

    const std::string& banner() const noexcept { return m_banner; }
    std::int64_t port() const noexcept { return m_server->port(); }

private:
    std::string m_line; // the banner and its line end, as sent
    std::string m_banner;
    std::unique_ptr<ServerProcess> m_server;
};

} // namespace velquor::harness
