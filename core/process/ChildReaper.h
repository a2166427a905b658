#pragma once

#include <cstdint>

namespace velquor {

// Waits for children whose owners let go of them before they exited, so none is left a zombie.
// Only the pids handed over are waited for: a child owned elsewhere in the process keeps its
// exit status for whoever waits for it. No thread blocks per child: the handed-over pids are
// kept in a list and reaped without waiting by reapAdopted(), which the forwarding code calls at
// each of its operations and an event loop at each turn, so an exited child is gone within one
// turn.
class ChildReaper {
public:
    // Never throws, as owners hand over from their destructors. Reaps at once what has already
    // exited.
    static void adopt(std::int32_t processIdentifier) noexcept;
    // For a child nobody would know of: SIGTERM, then adopt. Identifiers of 0 or less are left
    // alone, as kill() would read them as whole process groups.
    static void endAndAdopt(std::int32_t processIdentifier) noexcept;
    // Reaps every adopted child that has exited, without blocking. Safe from any thread.
    static void reapAdopted() noexcept;
};

} // namespace velquor
