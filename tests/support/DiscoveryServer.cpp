#include "tests/support/DiscoveryServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor::test {

namespace {

// Short enough that stop() is prompt, long enough not to spin.
constexpr int pollMilliseconds = 20;
constexpr std::size_t requestHeadLimit = 64 * 1024;

const std::string& bodyChunk() {
    static const std::string chunk(64 * 1024, 'x');
    return chunk;
}

std::string responseHead(const DiscoveryServer::Reply& reply) {
    std::string head;
    if (reply.interimLocation) {
        head += "HTTP/1.1 100 Continue\r\nLocation: " + *reply.interimLocation + "\r\n\r\n";
    }
    // Clients go by the code alone; one reason phrase serves every status.
    head += "HTTP/1.1 " + std::to_string(reply.status) + " Status\r\n";
    if (reply.location) {
        head += "Location: " + *reply.location + "\r\n";
    }
    for (std::size_t filled = 0, n = 0; filled < reply.fillerHeaderBytes; ++n) {
        const std::string field = "X-Filler-" + std::to_string(n) + ": " + std::string(1000, 'f');
        head += field + "\r\n";
        filled += field.size() + 2;
    }
    if (reply.behaviour != DiscoveryServer::Behaviour::endlessBody) {
        head += "Content-Length: " + std::to_string(reply.bodyBytes) + "\r\n";
    }
    head += "Connection: close\r\n\r\n";
    return head;
}

} // namespace

DiscoveryServer::Reply DiscoveryServer::redirectTo(const std::string& host, std::int64_t port) {
    return withLocation("http://" + host + ":" + std::to_string(port) + "/");
}

DiscoveryServer::Reply DiscoveryServer::withLocation(std::string value, int status) {
    Reply reply;
    reply.status = status;
    reply.location = std::move(value);
    return reply;
}

DiscoveryServer::DiscoveryServer() : DiscoveryServer(Reply{}) {}

DiscoveryServer::DiscoveryServer(Reply reply)
    : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_reply(std::move(reply)) {
    if (!m_listener.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(m_listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener.get(), 64) != 0 ||
        ::getsockname(m_listener.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "listening on 127.0.0.1");
    }
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { acceptConnections(); });
}

DiscoveryServer::~DiscoveryServer() {
    stop();
}

void DiscoveryServer::setReply(Reply reply) {
    const std::lock_guard lock(m_replyMutex);
    m_reply = std::move(reply);
}

DiscoveryServer::Reply DiscoveryServer::currentReply() const {
    const std::lock_guard lock(m_replyMutex);
    return m_reply;
}

Url DiscoveryServer::url() const {
    return Url::parse("http://127.0.0.1:" + std::to_string(m_port) + "/dynamic-port").value();
}

void DiscoveryServer::stop() {
    m_stopping = true;
    if (m_acceptor.joinable()) {
        m_acceptor.join();
    }
    for (auto& connection : m_connections) {
        connection.thread.join();
    }
    m_connections.clear();
}

void DiscoveryServer::acceptConnections() {
    while (!m_stopping) {
        m_connections.remove_if([](Connection& connection) {
            if (!connection.finished) {
                return false;
            }
            connection.thread.join();
            return true;
        });
        pollfd listener{m_listener.get(), POLLIN, 0};
        if (::poll(&listener, 1, pollMilliseconds) <= 0) {
            continue;
        }
        FileDescriptor socket(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket.isOpen()) {
            continue;
        }
        auto& connection = m_connections.emplace_back();
        connection.thread = std::thread([this, &connection, s = std::move(socket)]() mutable {
            serve(std::move(s));
            connection.finished = true;
        });
    }
}

void DiscoveryServer::serve(FileDescriptor socket) {
    if (!readRequest(socket.get())) {
        return;
    }
    ++m_requests;
    const Reply reply = currentReply();
    switch (reply.behaviour) {
    case Behaviour::closeWithoutAnswer:
        return;
    case Behaviour::stall:
        waitForClientToLeave(socket.get());
        return;
    case Behaviour::answer:
    case Behaviour::endlessBody:
    case Behaviour::headThenStall:
        break;
    }
    if (!sendAll(socket.get(), responseHead(reply))) {
        return;
    }
    if (reply.behaviour == Behaviour::headThenStall) {
        waitForClientToLeave(socket.get());
        return;
    }
    const bool endless = reply.behaviour == Behaviour::endlessBody;
    for (std::uint64_t left = reply.bodyBytes; endless || left > 0;) {
        const auto size =
            endless ? bodyChunk().size() : std::min<std::uint64_t>(left, bodyChunk().size());
        if (!sendAll(socket.get(), std::string_view(bodyChunk()).substr(0, size))) {
            return;
        }
        left -= endless ? 0 : size;
    }
    ::shutdown(socket.get(), SHUT_WR);
    waitForClientToLeave(socket.get());
}

bool DiscoveryServer::readRequest(int socket) {
    std::string received;
    while (!m_stopping && received.size() < requestHeadLimit) {
        pollfd client{socket, POLLIN, 0};
        if (::poll(&client, 1, pollMilliseconds) <= 0) {
            continue;
        }
        char buffer[4096];
        const auto n = ::recv(socket, buffer, sizeof buffer, 0);
        if (n <= 0) {
            return false;
        }
        received.append(buffer, static_cast<std::size_t>(n));
        if (received.find("\r\n\r\n") != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool DiscoveryServer::sendAll(int socket, std::string_view data) {
    while (!data.empty()) {
        if (m_stopping) {
            return false;
        }
        pollfd client{socket, POLLOUT, 0};
        if (::poll(&client, 1, pollMilliseconds) <= 0) {
            continue;
        }
        const auto n = ::send(socket, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
                continue;
            }
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

void DiscoveryServer::waitForClientToLeave(int socket) {
    while (!m_stopping) {
        pollfd client{socket, POLLIN, 0};
        if (::poll(&client, 1, pollMilliseconds) <= 0) {
            continue;
        }
        char buffer[4096];
        if (::recv(socket, buffer, sizeof buffer, 0) <= 0) {
            return;
        }
    }
}

} // namespace velquor::test
