#pragma once

#include <chrono>
#include <cstdint>

namespace velquor::bench {

// The last line of cleanup: whichever socat still holds a port of the bench's is killed, so that
// a failed or interrupted run leaves no forwarder behind. The ports are ones the kernel just
// handed out, so any socat on them was started for the bench.
class ForwarderSweep {
public:
    static void killSocatsOn(std::int64_t port) noexcept;
    // True once nothing accepts connections on the port any more.
    static bool waitUntilFree(std::int64_t port, std::chrono::milliseconds deadline) noexcept;
};

} // namespace velquor::bench
