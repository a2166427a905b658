#include "core/forwarding/ListenerReach.h"

#include "core/forwarding/SocatManagerError.h"

#include <algorithm>

namespace velquor {

namespace {

constexpr IpAddress ipv6Any{};
constexpr IpAddress ipv6Loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr IpAddress ipv4Any{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0, 0};
constexpr IpAddress ipv4Loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1};

bool isLoopback(const IpAddress& address) {
    return address == ipv6Loopback || (isIPv4Mapped(address) && address[12] == 127);
}

// A connection to the wildcard address goes to the loopback address of its family.
IpAddress destination(const IpAddress& address) {
    if (address == ipv6Any) {
        return ipv6Loopback;
    }
    return address == ipv4Any ? ipv4Loopback : address;
}

} // namespace

ListenerReach::ListenerReach(std::unique_ptr<AddressResolving> resolver)
    : m_resolver(std::move(resolver)) {}

void ListenerReach::refuseTargetReachingListener(const std::string& listenHost,
                                                 std::int64_t listenPort,
                                                 const TargetEndpoint& target) {
    if (target.port() != listenPort) {
        return;
    }
    auto listeners = m_resolver->addresses(listenHost);
    // socat listens on IPv4 unless given a bracketed IPv6 host.
    if (!isBracketedIPv6(listenHost)) {
        std::erase_if(listeners, [](const IpAddress& address) { return !isIPv4Mapped(address); });
    }
    for (const auto& address : m_resolver->addresses(target.host())) {
        for (const auto& listener : listeners) {
            if (reaches(address, listener)) {
                throw SocatManagerError::targetReachesListener(target.host(), target.port());
            }
        }
    }
}

bool ListenerReach::reaches(const IpAddress& target, const IpAddress& listener) {
    const auto arrival = destination(target);
    if (listener != ipv4Any && listener != ipv6Any) {
        return arrival == listener;
    }
    // A wildcard listener takes every address of this machine; an IPv6 one IPv4 as well.
    if (listener == ipv4Any && !isIPv4Mapped(arrival)) {
        return false;
    }
    if (isLoopback(arrival)) {
        return true;
    }
    const auto local = m_resolver->interfaceAddresses();
    return std::find(local.begin(), local.end(), arrival) != local.end();
}

} // namespace velquor
