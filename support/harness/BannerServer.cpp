#include "support/harness/BannerServer.h"

#include <cstring>

namespace velquor::harness {

namespace {

// Runs in the server process: system calls only.
void sendBanner(int connection, const void* context) {
    const auto* line = static_cast<const char*>(context);
    ServerProcess::sendAll(connection, line, std::strlen(line));
}

} // namespace

BannerServer::BannerServer(std::string banner)
    : m_line(banner + "\n"), m_banner(std::move(banner)),
      m_server(std::make_unique<ServerProcess>(sendBanner, m_line.c_str())) {}

} // namespace velquor::harness
