#include "core/system/NetworkChangeMonitor.h"

#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <system_error>

namespace velquor {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool isAddressOrRouteChange(const nlmsghdr& header) {
    switch (header.nlmsg_type) {
    case RTM_NEWADDR:
    case RTM_DELADDR:
        return true;
    case RTM_NEWROUTE:
    case RTM_DELROUTE: {
        // Cached routes (path MTU and redirect exceptions) come and go with traffic; they say
        // nothing about the network having changed.
        const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(&header));
        return header.nlmsg_len >= NLMSG_LENGTH(sizeof(rtmsg)) &&
               (route->rtm_flags & RTM_F_CLONED) == 0;
    }
    default:
        return false;
    }
}

} // namespace

NetworkChangeMonitor::NetworkChangeMonitor()
    : m_socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    if (!m_socket.isOpen()) {
        fail("opening the netlink route socket");
    }
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups =
        RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        fail("binding the netlink route socket");
    }
}

bool NetworkChangeMonitor::drain() {
    bool changed = false;
    alignas(nlmsghdr) std::array<char, 32 * 1024> buffer;
    for (;;) {
        sockaddr_nl sender{};
        socklen_t senderSize = sizeof sender;
        const auto received = ::recvfrom(m_socket.get(), buffer.data(), buffer.size(), 0,
                                         reinterpret_cast<sockaddr*>(&sender), &senderSize);
        if (received < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                return changed;
            }
            if (errno == ENOBUFS) {
                changed = true;
                continue;
            }
            if (errno == EINTR) {
                continue;
            }
            fail("reading the netlink route socket");
        }
        // Only the kernel speaks for the network; nobody else may make us check.
        if (sender.nl_pid != 0) {
            continue;
        }
        auto length = static_cast<unsigned int>(received);
        for (auto* header = reinterpret_cast<const nlmsghdr*>(buffer.data());
             NLMSG_OK(header, length); header = NLMSG_NEXT(header, length)) {
            changed = changed || isAddressOrRouteChange(*header);
        }
    }
}

} // namespace velquor
