#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// The one rule for every host that reaches socat's command line, whether it came from the
// discovery answer, the configuration file or the settings form: a DNS-style name (which
// covers IPv4 addresses) or an IPv6 literal in brackets. socat reads ',', ':', '!', blanks,
// quotes and controls as address syntax, so a host holding any of them could add options or
// whole addresses (SYSTEM:…) to the command; such hosts are refused, never escaped.
bool isPlainHost(std::string_view host);

// "[::1]": socat needs the brackets in both addresses, and pf=ip6 to listen on such a host.
bool isBracketedIPv6(std::string_view host);

// The host in the form socat's addresses take: a bare IPv6 literal such as "::1", which socat
// would cut at its first ':', in brackets; any other text as it is.
std::string socatHost(std::string_view host);

// The host as getaddrinfo and lsof write it: an IPv6 literal without its brackets.
std::string_view withoutBrackets(std::string_view host);

// An IP address; IPv4 addresses in their IPv4-mapped IPv6 form, so that both spellings of one
// address compare equal.
using IpAddress = std::array<unsigned char, 16>;

// The IPv4 address in those four bytes (network order, as in in_addr) in that mapped form.
IpAddress ipv4Mapped(const void* ipv4);
bool isIPv4Mapped(const IpAddress& address);

// The address a literal host writes: IPv4 in every spelling inet_aton reads (such as 127.1),
// an IPv6 literal in brackets. Nothing for a name.
std::optional<IpAddress> ipAddressOf(std::string_view host);

} // namespace velquor
