#pragma once

#include <cstdint>
#include <string>

namespace velquor {

class PortChecking {
public:
    virtual ~PortChecking() = default;

    // Whether something accepts TCP connections on host:port right now. Never throws.
    virtual bool isListening(const std::string& host, std::int64_t port) = 0;
};

} // namespace velquor
