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

} // namespace

std::optional<IpAddress> ipAddressOf(std::string_view host) {
    IpAddress address{};
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
    return ipv4Mapped(&parsed);
}

IpAddress ipv4Mapped(const void* ipv4) {
    IpAddress address{};
    address[10] = address[11] = 0xFF;
    std::memcpy(address.data() + 12, ipv4, 4);
    return address;
}

bool isIPv4Mapped(const IpAddress& address) {
    return std::all_of(address.begin(), address.begin() + 10,
                       [](unsigned char b) { return b == 0; }) &&
           address[10] == 0xFF && address[11] == 0xFF;
}

bool isPlainHost(std::string_view host) {
    return isBracketedIPv6(host) ? ipAddressOf(host).has_value() : isDnsStyleName(host);
}

bool isBracketedIPv6(std::string_view host) {
    return host.size() > 2 && host.front() == '[' && host.back() == ']';
}

std::string socatHost(std::string_view host) {
    const std::string text(host);
    in6_addr parsed{};
    const bool bareIPv6 = host.find(':') != std::string_view::npos &&
                          std::ranges::all_of(host, isIPv6Character) &&
                          ::inet_pton(AF_INET6, text.c_str(), &parsed) == 1;
    return bareIPv6 ? "[" + text + "]" : text;
}

std::string_view withoutBrackets(std::string_view host) {
    return isBracketedIPv6(host) ? host.substr(1, host.size() - 2) : host;
}

} // namespace velquor
