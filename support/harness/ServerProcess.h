#pragma once

#include "support/harness/ChildProcess.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace velquor::harness {

// A loopback server in a forked process of its own: its work never counts as the caller's
// processor time, and it dies with its caller. It answers one connection at a time, which is all
// the bench and the tests ever open at once. They may already have threads when they fork, so the
// child makes nothing but system calls: no allocation, no locks.
class ServerProcess {
public:
    // Called in the child for each accepted connection, which is closed afterwards. The context
    // is the child's copy of what it pointed to at the fork, or shared memory.
    using Handler = void (*)(int connection, const void* context);

    ServerProcess(Handler handler, const void* context);

    // For handlers: sends what it can of data, giving up quietly when the client has gone.
    static void sendAll(int connection, const char* data, std::size_t size) noexcept;

    std::int64_t port() const noexcept { return m_port; }

private:
    std::int64_t m_port = 0;
    std::unique_ptr<ChildProcess> m_process;
};

} // namespace velquor::harness
