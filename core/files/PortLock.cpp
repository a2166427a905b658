#include "core/files/PortLock.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

namespace velquor {

namespace {

struct AbstractName {
    sockaddr_un address{};
    socklen_t length = 0;

    explicit AbstractName(std::int64_t port) {
        // The leading NUL makes the name abstract: no file, nothing left behind.
        const std::string name = "com.dravenloe.velquor.port." + std::to_string(port);
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + 1, name.data(), name.size());
        length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

[[noreturn]] void fail(std::int64_t port) {
    const int error = errno;
    throw std::system_error(error, std::generic_category(), "locking port " + std::to_string(port));
}

FileDescriptor unixSocket(int flags, std::int64_t port) {
    FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!fd.isOpen()) {
        fail(port);
    }
    return fd;
}

// Non-blocking: a holder whose queue is full must not hang the refused start.
std::optional<LockHolder> askHolder(const AbstractName& name, std::int64_t port) {
    const auto probe = unixSocket(SOCK_NONBLOCK, port);
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::connect(probe.get(), name.get(), name.length) != 0 ||
        ::getsockopt(probe.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
        credentials.pid <= 0) {
        return std::nullopt;
    }
    std::string program;
    std::getline(std::ifstream("/proc/" + std::to_string(credentials.pid) + "/comm"), program);
    return LockHolder::fromRecord(std::to_string(credentials.pid) + " " + program + "\n");
}

} // namespace

PortLock::PortLock(std::int64_t port) : m_fd(unixSocket(0, port)) {
    const AbstractName name(port);
    if (::bind(m_fd.get(), name.get(), name.length) != 0) {
        if (errno != EADDRINUSE) {
            fail(port);
        }
        m_fd = FileDescriptor();
        m_holder = askHolder(name, port);
        return;
    }
    m_held = true;
    // Only so that the refused can ask who holds the name; the bound name alone is the lock.
    [[maybe_unused]] const int listening = ::listen(m_fd.get(), SOMAXCONN);
}

} // namespace velquor
