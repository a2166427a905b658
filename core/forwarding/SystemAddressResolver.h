#pragma once

#include "core/forwarding/AddressResolving.h"

namespace velquor {

// getaddrinfo, as socat resolves a host, and getifaddrs.
class SystemAddressResolver : public AddressResolving {
public:
    std::vector<IpAddress> addresses(const std::string& host) override;
    std::vector<IpAddress> interfaceAddresses() override;
};

} // namespace velquor
