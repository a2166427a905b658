#pragma once

#include "core/files/FileDescriptor.h"
#include "core/net/Url.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velquor::test {

// A discovery endpoint on 127.0.0.1 at a port the kernel chose, answering every connection
// with the current reply (HTTP/1.1, one request per connection). Serves from its own threads
// until destroyed, and never hangs on a client then.
class DiscoveryServer {
public:
    enum class Behaviour {
        answer,        // the head, with no body
        endlessBody,   // the head, then a body streamed until the client goes away
        headThenStall, // the head, then silence where the body should be
        stall,         // reads the request, then sends nothing until the client leaves or the end
    };

    // Members carry initialisers so designated initialisers may name just a few of them.
    struct Reply {
        Behaviour behaviour = Behaviour::answer;
        // Sent verbatim, each line ending in CRLF; the framing fields and blank line follow.
        std::string head = "HTTP/1.1 200 OK\r\n";
    };

    // 302 to "http://<host>:<port>/".
    static Reply redirectTo(const std::string& host, std::int64_t port);

    DiscoveryServer() : DiscoveryServer(Reply{}) {} // a 200 without Location until told otherwise
    explicit DiscoveryServer(Reply reply);
    // The threads see it at once and are joined as members go, the acceptor first.
    ~DiscoveryServer() { m_stopping = true; }
    DiscoveryServer(const DiscoveryServer&) = delete;
    DiscoveryServer& operator=(const DiscoveryServer&) = delete;

    // For connections accepted from now on.
    void setReply(Reply reply);

    std::int64_t port() const noexcept { return m_port; }
    // http://127.0.0.1:<port>/dynamic-port
    Url url() const;
    // Complete request heads received so far.
    int requestCount() const noexcept { return m_requests.load(); }

private:
    void acceptConnections();
    void serve(int socket);
    bool receive(int socket, std::string& into);
    bool sendAll(int socket, std::string_view data);

    FileDescriptor m_listener;
    std::int64_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_requests{0};
    mutable std::mutex m_replyMutex;
    Reply m_reply;
    // Joined only on destruction: a server lives for one test, which makes few requests. Only the
    // accepting thread touches the list while it runs.
    std::vector<std::jthread> m_connections;
    std::jthread m_acceptor; // last, so joined before anything it uses goes
};

} // namespace velquor::test
