#pragma once

#include "core/forwarding/PortChecking.h"

#include <chrono>

namespace velquor {

// Checks by connecting: a port counts as listening only when a TCP connection is established.
class NetworkPortChecker : public PortChecking {
public:
    // One budget for all addresses a host name resolves to. Name resolution itself is not
    // bounded by it; listen hosts are normally address literals.
    static constexpr std::chrono::milliseconds connectTimeout{1000};

    // False for a port outside 0..65535, an unresolvable host, a refusal (at once) or no
    // answer within connectTimeout.
    bool isListening(const std::string& host, std::int64_t port) override;
};

} // namespace velquor
