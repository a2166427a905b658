#pragma once

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

// The host as getaddrinfo and lsof write it: an IPv6 literal without its brackets.
std::string_view withoutBrackets(std::string_view host);

// A host that reaches this machine on every port whatever address a listener is bound to:
// 127.0.0.0/8, [::1], the wildcard addresses 0.0.0.0 and [::] (also v4-mapped, and in every
// spelling inet_aton reads, such as 127.1), and the names of the loopback interface.
bool isLoopbackOrWildcard(std::string_view host);

// The same address or name however written: case, a trailing dot, IPv4 spellings and
// v4-mapped IPv6 literals do not tell hosts apart. Names are not resolved.
bool isSameHost(std::string_view first, std::string_view second);

} // namespace velquor
