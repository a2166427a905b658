#pragma once

#include "core/config/ForwarderConfig.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace velquor {

// Keeps one ForwarderConfig in one JSON file (pretty printed, keys sorted), private to the user
// (0600) when created. A missing file (also a symlink to nothing) is created with the defaults;
// a damaged or invalid one is renamed aside, never repaired in place; one that cannot be read is
// left alone and, until it changes, never written over. A symlinked file is written through to
// its target. Every call reads or writes the file afresh; only the file's stamp at the last look
// is kept, to tell a hand edit.
class ConfigStore {
public:
    // A damaged file that load() renamed aside, and why it could not be used.
    struct SetAside {
        std::filesystem::path path;
        std::string reason; // one line
    };
    struct Loaded {
        ForwarderConfig config;
        std::optional<SetAside> setAside;
    };

    // What the file held when a running program looked again.
    struct Reread {
        enum class Kind { missing, unreadable, damaged, valid };
        Kind kind = Kind::missing;
        std::optional<ForwarderConfig> config;         // valid
        std::string reason;                            // unreadable, damaged: one line
        std::optional<std::filesystem::path> setAside; // damaged
    };

    explicit ConfigStore(std::filesystem::path configURL);

    const std::filesystem::path& configURL() const noexcept { return m_configURL; }

    // A file that fails ForwarderConfig::validated() (the ports) is set aside like an undecodable
    // one and the defaults are returned. One this user may not read fails the load.
    ForwarderConfig load();
    // As load(), telling also what was set aside.
    Loaded loadReporting();
    // For a program that already runs on settings of its own, so nothing is written: a damaged
    // file is set aside (throws when that fails), an unreadable one left where it is.
    Reread reread();

    // The valid record in the file, read without writing, setting aside or remembering
    // anything; nothing when the file is missing, unreadable or invalid.
    std::optional<ForwarderConfig> peek() const;

    // Validates first; an invalid record throws and leaves the file untouched.
    void save(const ForwarderConfig& config);

    // Writes without checking, for records the owner already holds. Throws, writing nothing, while
    // the file is one this store could not read and has not changed since.
    void saveInternal(const ForwarderConfig& config);

    // Renames the file to "config.json.invalid-<UTC time>" beside it, or with "-2", "-3", …
    // added when that name is taken, and returns that path; nothing when it is missing. Never
    // replaces an existing file; throws when the rename fails.
    std::optional<std::filesystem::path> moveCorruptedConfigAside() const;

    // True when the file was changed or replaced since this store last read or wrote it; false
    // before the first read or write, and when it is gone (there is nothing to load then).
    bool changedOnDisk() const;

    // Anything larger cannot be a configuration file and is set aside without being read.
    static constexpr std::uintmax_t maximumFileSize = 1024 * 1024;

private:
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::int64_t modifiedSeconds = 0;
        std::int64_t modifiedNanoseconds = 0;
        // A change of mode shows only here.
        std::int64_t changedSeconds = 0;
        std::int64_t changedNanoseconds = 0;
        bool operator==(const Stamp&) const = default;
    };
    static std::optional<Stamp> stampOf(const std::filesystem::path& path);
    static Stamp stampFrom(const struct stat& info);
    static std::pair<ForwarderConfig, Stamp> readValid(const std::filesystem::path& path);

    ForwarderConfig readValidConfig();
    SetAside setAsideWithDefaults(const std::exception& damage);
    bool isMissing() const;
    void declineUnreadable();
    std::filesystem::path writeTarget() const;

    std::filesystem::path m_configURL;
    std::optional<Stamp> m_stamp;
    // The file at m_stamp could not be read.
    bool m_unreadable = false;
};

} // namespace velquor
