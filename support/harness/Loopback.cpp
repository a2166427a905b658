#include "support/harness/Loopback.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor::harness {

namespace {

sockaddr_in loopbackAddress(std::int64_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

FileDescriptor Loopback::listen(int backlog) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) {
        fail("creating a socket");
    }
    const auto address = loopbackAddress(0);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("binding to 127.0.0.1");
    }
    if (::listen(socket.get(), backlog) != 0) {
        fail("listening on 127.0.0.1");
    }
    return socket;
}

std::int64_t Loopback::portOf(int socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("reading a socket's address");
    }
    return ntohs(address.sin_port);
}

std::int64_t Loopback::freePort() {
    const auto socket = listen();
    return portOf(socket.get());
}

std::optional<std::string> Loopback::firstLine(std::int64_t port,
                                               std::chrono::milliseconds deadline) {
    const auto until = std::chrono::steady_clock::now() + deadline;
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) {
        fail("creating a socket");
    }
    const auto address = loopbackAddress(port);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return std::nullopt;
    }
    std::string line;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        pollfd entry{socket.get(), POLLIN, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (ready <= 0) {
            continue;
        }
        char buffer[256];
        const auto received = ::recv(socket.get(), buffer, sizeof buffer, 0);
        if (received <= 0) {
            return std::nullopt;
        }
        line.append(buffer, static_cast<std::size_t>(received));
        if (const auto end = line.find('\n'); end != std::string::npos) {
            line.resize(end);
            return line;
        }
    }
}

} // namespace velquor::harness
