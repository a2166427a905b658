#include "core/forwarding/SystemAddressResolver.h"

#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <system_error>

namespace velquor {

namespace {

void append(std::vector<IpAddress>& addresses, const sockaddr* address) {
    if (address && address->sa_family == AF_INET) {
        addresses.push_back(ipv4Mapped(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr));
    } else if (address && address->sa_family == AF_INET6) {
        IpAddress ip{};
        std::memcpy(ip.data(), &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, 16);
        addresses.push_back(ip);
    }
}

} // namespace

std::vector<IpAddress> SystemAddressResolver::addresses(const std::string& host) {
    const std::string name(withoutBrackets(host));
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    std::vector<IpAddress> result;
    if (name.empty() || ::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0) {
        return result;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(found, ::freeaddrinfo);
    for (const auto* entry = found; entry; entry = entry->ai_next) {
        append(result, entry->ai_addr);
    }
    return result;
}

std::vector<IpAddress> SystemAddressResolver::interfaceAddresses() {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        throw std::system_error(errno, std::generic_category(), "listing this machine's addresses");
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owned(list, ::freeifaddrs);
    std::vector<IpAddress> result;
    for (const auto* entry = list; entry; entry = entry->ifa_next) {
        append(result, entry->ifa_addr);
    }
    return result;
}

} // namespace velquor
