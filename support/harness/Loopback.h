#pragma once

#include "core/files/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace velquor::harness {

// TCP on 127.0.0.1, the only network the bench and the whole-system tests touch.
class Loopback {
public:
    // Listening, at a port the kernel chose. Throws std::system_error.
    static FileDescriptor listen(int backlog = 64);
    static std::int64_t portOf(int socket);
    // A port that was free a moment ago, for programs that bind it themselves.
    static std::int64_t freePort();
    // The first line a server at the port sends, without its end; nothing when the connection is
    // refused or closed first, or when the deadline passes.
    static std::optional<std::string> firstLine(std::int64_t port,
                                                std::chrono::milliseconds deadline);
};

} // namespace velquor::harness
