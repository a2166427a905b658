#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velquor {

// Who holds the listen port right now. Build values with the named constructors, so that
// fields a case does not use stay empty and equality compares case and payload.
struct SocatRuntimeStatus {
    enum class Kind { trackedSocat, externalSocat, occupiedByUnknownProcess, notListening };

    Kind kind = Kind::notListening;
    std::int32_t pid = 0;
    std::string name; // occupiedByUnknownProcess only; "unknown" when the owner was not found

    static SocatRuntimeStatus trackedSocat(std::int32_t pid);
    static SocatRuntimeStatus externalSocat(std::int32_t pid);
    static SocatRuntimeStatus occupiedByUnknownProcess(std::string name, std::int32_t pid);
    static SocatRuntimeStatus notListening();

    // A forwarder, ours or another, serves the port.
    bool isRunning() const noexcept {
        return kind == Kind::trackedSocat || kind == Kind::externalSocat;
    }
    // The pid of whatever holds the port; absent when nothing does or the owner is unknown.
    std::optional<std::int32_t> processIdentifier() const;

    std::string displayText() const; // for the user interface, in Chinese
    std::string logText() const;     // for log lines

    bool operator==(const SocatRuntimeStatus&) const = default;
};

} // namespace velquor
