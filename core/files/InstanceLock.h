#pragma once

#include "core/files/LockFile.h"
#include "core/files/PortLock.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// One forwarder for one set of files and one port: qarvex and qarvexd both rewrite the
// configuration, append to the log and stop every socat on the listen port, so two of them
// sharing any of these would undo each other's work and kill each other's forwarder. The lock
// follows what it guards, not the environment a program was started in:
// - the configuration file: ".<name>.lock" beside the file it really is (through a symlink),
//   or beside the path as given when nothing can be created there;
// - the log file: ".<name>.lock" beside it;
// - the listen port a valid configuration names, as a PortLock (forwarding on the default
//   port of a missing or damaged file claims it when it starts).
// A lock file that cannot be created for lack of permission is left out: where this user
// cannot create a file, neither program can rewrite one. All are taken without waiting, or
// none; a holder killed by SIGKILL leaves nothing behind.
class InstanceLock {
public:
    using Holder = LockHolder;

    // Throws std::system_error when a lock cannot be tried, for example when a FIFO or a folder
    // is in the place of a lock file.
    InstanceLock(const std::filesystem::path& configFile, const std::filesystem::path& logFile,
                 const std::string& program);

    bool isHeld() const noexcept { return m_held; }
    // Who holds the first lock refused; nothing when it cannot be told.
    const std::optional<Holder>& holder() const noexcept { return m_holder; }

private:
    // False, with the holder noted, when another program holds the lock guarding the file.
    bool lockBeside(const std::filesystem::path& file, const std::string& program);

    std::vector<LockFile> m_files;
    std::optional<PortLock> m_port;
    bool m_held = false;
    std::optional<Holder> m_holder;
};

} // namespace velquor
