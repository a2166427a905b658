#include "bench/BannerServer.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace velquor::bench {

namespace {

// Runs in the server process: system calls only.
void sendBanner(int connection, const void* context) {
    const auto* line = static_cast<const char*>(context);
    auto size = std::strlen(line);
    while (size > 0) {
        const auto sent = ::send(connection, line, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return;
        }
        line += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

} // namespace

BannerServer::BannerServer(std::string banner)
    : m_line(banner + "\n"), m_banner(std::move(banner)),
      m_server(std::make_unique<ServerProcess>(sendBanner, m_line.c_str())) {}

} // namespace velquor::bench
