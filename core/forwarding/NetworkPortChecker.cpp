#include "core/forwarding/NetworkPortChecker.h"

#include "core/files/FileDescriptor.h"
#include "core/net/PlainHost.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

namespace velquor {

namespace {

using Clock = std::chrono::steady_clock;

bool connectsBefore(const addrinfo& address, Clock::time_point deadline) {
    FileDescriptor socket(::socket(address.ai_family,
                                   address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                                   address.ai_protocol));
    if (!socket.isOpen()) {
        return false;
    }
    if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) {
        return true;
    }
    // An interrupted non-blocking connect goes on in the background like EINPROGRESS.
    if (errno != EINPROGRESS && errno != EINTR) {
        return false;
    }
    for (;;) {
        const auto remaining = deadline - Clock::now();
        if (remaining <= Clock::duration::zero()) {
            return false;
        }
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(remaining).count();
        pollfd entry{socket.get(), POLLOUT, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::min<decltype(ms)>(ms, INT_MAX)));
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready > 0) {
            int error = 0;
            socklen_t length = sizeof error;
            return ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) == 0 &&
                   error == 0;
        }
    }
}

} // namespace

bool NetworkPortChecker::isListening(const std::string& host, std::int64_t port) {
    if (port < 0 || port > 65535) {
        return false;
    }
    try {
        const auto deadline = Clock::now() + connectTimeout;
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_NUMERICSERV;
        addrinfo* found = nullptr;
        // Listen hosts carry IPv6 literals in brackets, which getaddrinfo does not read.
        const std::string name(withoutBrackets(host));
        if (::getaddrinfo(name.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
            return false;
        }
        const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found,
                                                                             &::freeaddrinfo);
        for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
            if (connectsBefore(*address, deadline)) {
                return true;
            }
            if (Clock::now() >= deadline) {
                return false;
            }
        }
        return false;
    } catch (...) {
        // Only allocation can fail here; a check that cannot run has not seen a listener.
        return false;
    }
}

} // namespace velquor
