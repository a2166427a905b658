#pragma once

#include "core/files/FileDescriptor.h"
#include "core/net/Url.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace velquor::test {

// A discovery endpoint on 127.0.0.1 at a port the kernel chose, answering every connection
// with the current reply (HTTP/1.1, one request per connection). Serves from its own threads
// until stopped; the destructor stops it and never hangs on a client.
class DiscoveryServer {
public:
    enum class Behaviour {
        answer,             // the status line, header fields and a body of bodyBytes bytes
        endlessBody,        // as answer, but the body is streamed until the client goes away
        headThenStall,      // as answer, but the body never comes
        stall,              // reads the request, then sends nothing until the client or stop()
        closeWithoutAnswer, // reads the request, then closes the connection
    };

    // Members carry initialisers so designated initialisers may name just a few of them.
    struct Reply {
        Behaviour behaviour = Behaviour::answer;
        int status = 200;
        // Sent verbatim after "Location: ", blanks and all.
        std::optional<std::string> location = std::nullopt;
        // Streamed, never held in memory.
        std::uint64_t bodyBytes = 0;
        // Extra header fields of about this many bytes in all.
        std::size_t fillerHeaderBytes = 0;
        // A "100 Continue" carrying this Location comes first.
        std::optional<std::string> interimLocation = std::nullopt;
    };

    // 302 to "http://<host>:<port>/".
    static Reply redirectTo(const std::string& host, std::int64_t port);
    static Reply withLocation(std::string value, int status = 302);

    DiscoveryServer(); // a 200 without Location until told otherwise
    explicit DiscoveryServer(Reply reply);
    ~DiscoveryServer();
    DiscoveryServer(const DiscoveryServer&) = delete;
    DiscoveryServer& operator=(const DiscoveryServer&) = delete;

    // For connections accepted from now on.
    void setReply(Reply reply);

    std::int64_t port() const noexcept { return m_port; }
    // http://127.0.0.1:<port>/dynamic-port
    Url url() const;
    // Complete request heads received so far.
    int requestCount() const noexcept { return m_requests.load(); }

    // Ends every connection and joins every thread; idempotent.
    void stop();

private:
    struct Connection {
        std::thread thread;
        std::atomic<bool> finished{false};
    };

    void acceptConnections();
    void serve(FileDescriptor socket);
    bool readRequest(int socket);
    bool sendAll(int socket, std::string_view data);
    void waitForClientToLeave(int socket);
    Reply currentReply() const;

    FileDescriptor m_listener;
    std::int64_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_requests{0};
    mutable std::mutex m_replyMutex;
    Reply m_reply;
    std::list<Connection> m_connections; // only the accepting thread touches it while it runs
    std::thread m_acceptor;
};

} // namespace velquor::test
