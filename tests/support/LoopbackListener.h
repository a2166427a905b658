#pragma once

#include "core/files/FileDescriptor.h"
#include "support/harness/Loopback.h"

#include <cstdint>

namespace velquor::test {

// A socket of this process listening on 127.0.0.1 at a port the kernel chose. Connections are
// never accepted, so a backlog of 0 fills after one and makes further connects hang.
class LoopbackListener {
public:
    explicit LoopbackListener(int backlog = 16)
        : m_socket(harness::Loopback::listen(backlog)),
          m_port(harness::Loopback::portOf(m_socket.get())) {}

    std::int64_t port() const noexcept { return m_port; }

private:
    FileDescriptor m_socket;
    std::int64_t m_port;
};

} // namespace velquor::test
