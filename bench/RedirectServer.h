#pragma once

#include "support/harness/ServerProcess.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace velquor::bench {

using harness::ServerProcess;

// The discovery endpoint: every GET is answered "302 Found" with
// "Location: http://127.0.0.1:<target port>/", the target port being whatever it was last
// pointed at.
class RedirectServer {
public:
    explicit RedirectServer(std::int64_t targetPort);
    ~RedirectServer();
    RedirectServer(const RedirectServer&) = delete;
    RedirectServer& operator=(const RedirectServer&) = delete;

    // For requests from now on.
    void pointAt(std::int64_t targetPort) noexcept;
    std::string url() const;

private:
    // Shared with the server process, so that it sees a move at once.
    std::atomic<std::int32_t>* m_targetPort = nullptr;
    std::unique_ptr<ServerProcess> m_server;
};

} // namespace velquor::bench
