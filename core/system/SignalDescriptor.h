#pragma once

#include "core/files/FileDescriptor.h"

#include <initializer_list>
#include <optional>
#include <span>

namespace velquor {

// Turns signals into a readable descriptor (signalfd), so that qarvexd waits for SIGTERM, SIGINT,
// SIGHUP, a child's exit and network events in one ppoll instead of in sigtimedwait alone.
// The signals are blocked in the calling thread, and stay blocked: create it in main() before
// any thread or child exists, so that every thread inherits the mask (children get a clean one
// from the launcher).
class SignalDescriptor {
public:
    // Throws std::system_error.
    explicit SignalDescriptor(std::span<const int> signals);
    explicit SignalDescriptor(std::initializer_list<int> signals)
        : SignalDescriptor(std::span<const int>(signals.begin(), signals.size())) {}

    int descriptor() const noexcept { return m_descriptor.get(); }

    // The next pending signal's number, without blocking; nothing when none is pending.
    std::optional<int> take();

private:
    FileDescriptor m_descriptor;
};

} // namespace velquor
