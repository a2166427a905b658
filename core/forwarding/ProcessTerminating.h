#pragma once

#include <cstdint>

namespace velquor {

// Ends a process known only by its identifier, such as a socat an earlier run left behind.
class ProcessTerminating {
public:
    virtual ~ProcessTerminating() = default;

    // Sends the request and returns; a process that is already gone counts as ended.
    // Throws std::system_error.
    virtual void terminate(std::int32_t processIdentifier) = 0;
};

} // namespace velquor
