#pragma once

#include "core/files/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace velquor {

// One forwarder per user: qarvex and qarvexd both stop every socat on the listen port, so two
// of them would keep killing each other's forwarder. Each takes this lock first. It is an flock
// on a file, which the kernel drops with the holder's last descriptor: a holder that crashed,
// even by SIGKILL, never blocks the next start. The holder writes its PID and program name
// into the file so that a refused start can say who runs.
class InstanceLock {
public:
    struct Holder {
        std::int32_t pid = 0;
        std::string program;

        // "qarvexd (PID 1234)"
        std::string text() const;
    };

    // Tries once, without waiting. Throws std::system_error when the file cannot be opened or
    // is not a regular file.
    InstanceLock(std::filesystem::path path, const std::string& program);

    bool isHeld() const noexcept { return m_held; }
    // Who holds the lock when this one did not get it; nothing when the holder has not written
    // its name yet or the file cannot be read.
    const std::optional<Holder>& holder() const noexcept { return m_holder; }

    // $XDG_RUNTIME_DIR/com.dravenloe.velquor.lock when that folder is set (absolute), else
    // forwarder.lock in ${XDG_STATE_HOME:-~/.local/state}/Velquor.
    static std::filesystem::path defaultPath();

private:
    void recordHolder(const std::string& program) const;
    std::optional<Holder> readHolder() const;

    std::filesystem::path m_path;
    // Open for as long as this object lives; never inherited by a child (O_CLOEXEC).
    FileDescriptor m_fd;
    bool m_held = false;
    std::optional<Holder> m_holder;
};

} // namespace velquor
