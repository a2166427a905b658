#pragma once

#include <cstdint>

namespace velquor {

// Waits for children whose owners let go of them before they exited, so none is left a zombie.
// Only the pids handed over are waited for: a child owned elsewhere in the process keeps its
// exit status for whoever waits for it.
class ChildReaper {
public:
    // Never throws, as owners hand over from their destructors. Should no thread be available,
    // the child stays a zombie until this process exits; there is nothing better to do without
    // blocking the caller.
    static void adopt(std::int32_t processIdentifier) noexcept;
    // For a child nobody would know of: SIGTERM, then adopt. Identifiers of 0 or less are left
    // alone, as kill() would read them as whole process groups.
    static void endAndAdopt(std::int32_t processIdentifier) noexcept;
};

} // namespace velquor
