#pragma once

#include "core/files/FileDescriptor.h"
#include "core/files/LockHolder.h"

#include <filesystem>
#include <optional>
#include <string>

namespace velquor {

// An flock on one file, which the kernel drops with the holder's last descriptor: a holder
// that crashed, even by SIGKILL, never blocks the next taker. The holder writes its PID and
// program name into the file so that a refused taker can say who runs.
class LockFile {
public:
    // Tries once, without waiting, creating the file and its folder when missing. Throws
    // std::system_error when the file cannot be opened or is not a regular file.
    LockFile(std::filesystem::path path, const std::string& program);

    bool isHeld() const noexcept { return m_held; }
    // Who holds the lock when this one did not get it; nothing when the holder has not written
    // its name yet or the file cannot be read.
    const std::optional<LockHolder>& holder() const noexcept { return m_holder; }

private:
    void recordHolder(const std::string& program) const;
    std::optional<LockHolder> readHolder() const;

    std::filesystem::path m_path;
    // Open for as long as this object lives; never inherited by a child (O_CLOEXEC).
    FileDescriptor m_fd;
    bool m_held = false;
    std::optional<LockHolder> m_holder;
};

} // namespace velquor
