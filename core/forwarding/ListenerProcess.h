#pragma once

#include <cstdint>
#include <string>

namespace velquor {

// A process found holding a port, as the probe reports it.
struct ListenerProcess {
    std::string commandName;
    std::int32_t processIdentifier = 0;

    // Case-insensitive, and a substring, so renamed builds such as "socat2" count as well.
    bool isSocat() const;

    bool operator==(const ListenerProcess&) const = default;
};

} // namespace velquor
