#pragma once

#include "core/config/ForwarderConfig.h"

#include <filesystem>

namespace velquor {

// Keeps one ForwarderConfig in one JSON file (pretty printed, keys sorted). A missing file is
// created with the defaults; a damaged or invalid one is renamed aside, never repaired in place.
// Every call reads or writes the file afresh; nothing is cached.
class ConfigStore {
public:
    explicit ConfigStore(std::filesystem::path configURL);

    const std::filesystem::path& configURL() const noexcept { return m_configURL; }

    ForwarderConfig load() const;

    // Validates first; an invalid listen or recent port throws and leaves the file untouched.
    void save(const ForwarderConfig& config) const;

    // Writes without validating, for records the owner already holds.
    void saveInternal(const ForwarderConfig& config) const;

    // Renames the file to "config.json.invalid-<UTC time>" beside it; nothing when it is missing.
    // Throws when the rename fails, for example because that name is taken.
    void moveCorruptedConfigAside() const;

    // Anything larger cannot be a configuration file and is set aside without being read.
    static constexpr std::uintmax_t maximumFileSize = 1024 * 1024;

private:
    ForwarderConfig readValidConfig() const;

    std::filesystem::path m_configURL;
};

} // namespace velquor
