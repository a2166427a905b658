#include "support/harness/ServerProcess.h"

#include "support/harness/Loopback.h"

#include <cerrno>
#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace velquor::harness {

namespace {

[[noreturn]] void serveForever(int listener, ServerProcess::Handler handler, const void* context,
                               pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(0);
    }
    // The caller owns the ending: Ctrl-C reaches the whole process group, and the caller still
    // needs its servers while it unwinds.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGINT, &ignore, nullptr);
    ::sigaction(SIGPIPE, &ignore, nullptr);
    for (;;) {
        const int connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            if (errno == EBADF || errno == EINVAL || errno == ENOTSOCK) {
                ::_exit(1);
            }
            continue;
        }
        handler(connection, context);
        ::close(connection);
    }
}

} // namespace

ServerProcess::ServerProcess(Handler handler, const void* context) {
    auto listener = harness::Loopback::listen();
    m_port = harness::Loopback::portOf(listener.get());
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "forking a loopback server");
    }
    if (pid == 0) {
        serveForever(listener.get(), handler, context, parent);
    }
    m_process = std::make_unique<ChildProcess>(pid);
}

void ServerProcess::sendAll(int connection, const char* data, std::size_t size) noexcept {
    while (size > 0) {
        const auto sent = ::send(connection, data, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return;
        }
        data += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

} // namespace velquor::harness
