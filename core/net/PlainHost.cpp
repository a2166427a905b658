#include "core/net/PlainHost.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <string>

namespace velquor {

namespace {

constexpr std::size_t maximumNameLength = 253;
constexpr std::size_t maximumLabelLength = 63;

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

bool isIPv6Character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' ||
           c == '.';
}

std::string_view withoutTrailingDot(std::string_view name) {
    return name.ends_with('.') ? name.substr(0, name.size() - 1) : name;
}

// Labels of letters, digits, '-' and '_' separated by single dots; one trailing dot allowed.
bool isDnsStyleName(std::string_view host) {
    const auto name = withoutTrailingDot(host);
    if (name.empty() || name.size() > maximumNameLength) {
        return false;
    }
    std::size_t start = 0;
    while (start <= name.size()) {
        const auto end = std::min(name.find('.', start), name.size());
        const auto label = name.substr(start, end - start);
        if (label.empty() || label.size() > maximumLabelLength || label.front() == '-' ||
            !std::ranges::all_of(label, isNameCharacter)) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

using Address = std::array<unsigned char, 16>;

// IPv4 addresses become v4-mapped IPv6 ones, so that both spellings compare equal.
std::optional<Address> addressOf(std::string_view host) {
    Address address{};
    if (isBracketedIPv6(host)) {
        const std::string inner(withoutBrackets(host));
        in6_addr parsed{};
        // Checked first: inet_pton would stop at an embedded NUL and accept what precedes it.
        if (!std::ranges::all_of(inner, isIPv6Character) ||
            ::inet_pton(AF_INET6, inner.c_str(), &parsed) != 1) {
            return std::nullopt;
        }
        std::memcpy(address.data(), &parsed, address.size());
        return address;
    }
    const std::string text(host);
    in_addr parsed{};
    if (!isDnsStyleName(host) || ::inet_aton(text.c_str(), &parsed) == 0) {
        return std::nullopt;
    }
    address[10] = address[11] = 0xFF;
    std::memcpy(address.data() + 12, &parsed, 4);
    return address;
}

bool isLoopbackOrWildcard(const Address& address) {
    static constexpr Address any{};
    static constexpr Address loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const bool mapped = std::all_of(address.begin(), address.begin() + 10,
                                    [](unsigned char b) { return b == 0; }) &&
                        address[10] == 0xFF && address[11] == 0xFF;
    const bool mappedAny = mapped && std::all_of(address.begin() + 12, address.end(),
                                                 [](unsigned char b) { return b == 0; });
    return address == any || address == loopback || mappedAny || (mapped && address[12] == 127);
}

std::string lowercaseName(std::string_view host) {
    std::string name(withoutTrailingDot(host));
    std::ranges::transform(name, name.begin(), [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return name;
}

} // namespace

bool isPlainHost(std::string_view host) {
    return isBracketedIPv6(host) ? addressOf(host).has_value() : isDnsStyleName(host);
}

bool isBracketedIPv6(std::string_view host) {
    return host.size() > 2 && host.front() == '[' && host.back() == ']';
}

std::string_view withoutBrackets(std::string_view host) {
    return isBracketedIPv6(host) ? host.substr(1, host.size() - 2) : host;
}

bool isLoopbackOrWildcard(std::string_view host) {
    if (const auto address = addressOf(host)) {
        return isLoopbackOrWildcard(*address);
    }
    // The names Debian's /etc/hosts and RFC 6761 give the loopback interface.
    const auto name = lowercaseName(host);
    for (const std::string_view local :
         {"localhost", "localhost.localdomain", "localhost6", "localhost6.localdomain6",
          "ip6-localhost", "ip6-loopback"}) {
        if (name == local) {
            return true;
        }
    }
    return name.ends_with(".localhost");
}

bool isSameHost(std::string_view first, std::string_view second) {
    const auto firstAddress = addressOf(first);
    const auto secondAddress = addressOf(second);
    if (firstAddress || secondAddress) {
        return firstAddress == secondAddress;
    }
    return lowercaseName(first) == lowercaseName(second);
}

} // namespace velquor
