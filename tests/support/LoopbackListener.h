#pragma once

#include "core/files/FileDescriptor.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor::test {

// A socket of this process listening on 127.0.0.1 at a port the kernel chose. Connections are
// never accepted, so a backlog of 0 fills after one and makes further connects hang.
class LoopbackListener {
public:
    explicit LoopbackListener(int backlog = 16)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (!m_socket.isOpen() ||
            ::bind(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(m_socket.get(), backlog) != 0 ||
            ::getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::system_error(errno, std::generic_category(), "listening on 127.0.0.1");
        }
        m_port = ntohs(address.sin_port);
    }

    std::int64_t port() const noexcept { return m_port; }

private:
    FileDescriptor m_socket;
    std::int64_t m_port = 0;
};

} // namespace velquor::test
