#include "bench/RedirectServer.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor::bench {

namespace {

static_assert(std::atomic<std::int32_t>::is_always_lock_free,
              "the port is shared between processes");

// Runs in the server process: system calls and stack buffers only.
void answerWithRedirect(int connection, const void* context) {
    const auto& targetPort = *static_cast<const std::atomic<std::int32_t>*>(context);
    const timeval timeout{2, 0};
    ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    char request[8192];
    std::size_t received = 0;
    while (received < sizeof request) {
        const auto count = ::recv(connection, request + received, sizeof request - received, 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return;
        }
        received += static_cast<std::size_t>(count);
        if (std::string_view(request, received).find("\r\n\r\n") != std::string_view::npos) {
            break;
        }
    }
    constexpr std::string_view head = "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:";
    constexpr std::string_view tail = "/\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    char reply[head.size() + 16 + tail.size()];
    std::memcpy(reply, head.data(), head.size());
    char* end = std::to_chars(reply + head.size(), reply + head.size() + 16, targetPort.load()).ptr;
    std::memcpy(end, tail.data(), tail.size());
    end += tail.size();
    ServerProcess::sendAll(connection, reply, static_cast<std::size_t>(end - reply));
}

} // namespace

RedirectServer::RedirectServer(std::int64_t targetPort) {
    void* shared = ::mmap(nullptr, sizeof(std::atomic<std::int32_t>), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "sharing the target port");
    }
    m_targetPort = new (shared) std::atomic<std::int32_t>(static_cast<std::int32_t>(targetPort));
    try {
        m_server = std::make_unique<ServerProcess>(answerWithRedirect, m_targetPort);
    } catch (...) {
        ::munmap(shared, sizeof(std::atomic<std::int32_t>));
        throw;
    }
}

RedirectServer::~RedirectServer() {
    m_server.reset();
    ::munmap(m_targetPort, sizeof(std::atomic<std::int32_t>));
}

void RedirectServer::pointAt(std::int64_t targetPort) noexcept {
    m_targetPort->store(static_cast<std::int32_t>(targetPort));
}

std::string RedirectServer::url() const {
    return "http://127.0.0.1:" + std::to_string(m_server->port()) + "/dynamic-port";
}

} // namespace velquor::bench
