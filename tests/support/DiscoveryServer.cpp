#include "tests/support/DiscoveryServer.h"

#include "support/harness/Loopback.h"

#include <poll.h>
#include <sys/socket.h>

namespace velquor::test {

namespace {

// Short enough that destruction is prompt, long enough not to spin.
constexpr int pollMilliseconds = 20;
constexpr std::size_t requestHeadLimit = 64 * 1024;

bool ready(int socket, short events) {
    pollfd client{socket, events, 0};
    return ::poll(&client, 1, pollMilliseconds) > 0;
}

} // namespace

DiscoveryServer::Reply DiscoveryServer::redirectTo(const std::string& host, std::int64_t port) {
    return {.head = "HTTP/1.1 302 Found\r\nLocation: http://" + host + ":" + std::to_string(port) +
                    "/\r\n"};
}

DiscoveryServer::DiscoveryServer(Reply reply)
    : m_listener(harness::Loopback::listen()), m_reply(std::move(reply)) {
    m_port = harness::Loopback::portOf(m_listener.get());
    m_acceptor = std::jthread([this] { acceptConnections(); });
}

void DiscoveryServer::setReply(Reply reply) {
    const std::lock_guard lock(m_replyMutex);
    m_reply = std::move(reply);
}

Url DiscoveryServer::url() const {
    return Url::parse("http://127.0.0.1:" + std::to_string(m_port) + "/dynamic-port").value();
}

void DiscoveryServer::acceptConnections() {
    while (!m_stopping) {
        if (!ready(m_listener.get(), POLLIN)) {
            continue;
        }
        FileDescriptor socket(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (socket.isOpen()) {
            m_connections.emplace_back([this, s = std::move(socket)] { serve(s.get()); });
        }
    }
}

void DiscoveryServer::serve(int socket) {
    std::string received;
    while (received.find("\r\n\r\n") == std::string::npos) {
        if (received.size() > requestHeadLimit || !receive(socket, received)) {
            return;
        }
    }
    ++m_requests;
    const Reply reply = [&] {
        const std::lock_guard lock(m_replyMutex);
        return m_reply;
    }();
    // Without a length the body runs until the connection closes, so it can be endless or late.
    const std::string length = reply.behaviour == Behaviour::answer ? "Content-Length: 0\r\n" : "";
    if (reply.behaviour != Behaviour::stall &&
        sendAll(socket, reply.head + length + "Connection: close\r\n\r\n")) {
        static const std::string chunk(64 * 1024, 'x');
        while (reply.behaviour == Behaviour::endlessBody && sendAll(socket, chunk)) {
        }
        if (reply.behaviour == Behaviour::answer) {
            ::shutdown(socket, SHUT_WR);
        }
    }
    for (received.clear(); receive(socket, received); received.clear()) {
    }
}

// Appends what the client sent within a poll interval; false once it left or on destruction.
bool DiscoveryServer::receive(int socket, std::string& into) {
    if (!ready(socket, POLLIN)) {
        return !m_stopping;
    }
    char buffer[4096];
    const auto n = ::recv(socket, buffer, sizeof buffer, 0);
    if (n > 0) {
        into.append(buffer, static_cast<std::size_t>(n));
    }
    return n > 0 && !m_stopping;
}

bool DiscoveryServer::sendAll(int socket, std::string_view data) {
    while (!data.empty() && !m_stopping) {
        if (!ready(socket, POLLOUT)) {
            continue;
        }
        const auto n = ::send(socket, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        data.remove_prefix(n > 0 ? static_cast<std::size_t>(n) : 0);
    }
    return data.empty();
}

} // namespace velquor::test
