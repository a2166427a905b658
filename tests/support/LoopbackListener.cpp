#include "tests/support/LoopbackListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor::test {

LoopbackListener::LoopbackListener(int backlog)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (!m_socket.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_socket.get(), backlog) != 0 ||
        ::getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "listening on 127.0.0.1");
    }
    m_port = ntohs(address.sin_port);
}

} // namespace velquor::test
