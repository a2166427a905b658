#pragma once

#include "core/net/PlainHost.h"

#include <string>
#include <vector>

namespace velquor {

// Where a host leads now, and which addresses this machine has.
class AddressResolving {
public:
    virtual ~AddressResolving() = default;

    // Every address host names (a name, an IPv4 address or a bracketed IPv6 literal); none when
    // it does not resolve now.
    virtual std::vector<IpAddress> addresses(const std::string& host) = 0;
    // The addresses of this machine's interfaces. Throws std::system_error.
    virtual std::vector<IpAddress> interfaceAddresses() = 0;
};

} // namespace velquor
