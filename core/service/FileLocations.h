#pragma once

#include <filesystem>

namespace velquor {

// Where this user's files live, following the XDG base directories.
struct FileLocations {
    std::filesystem::path applicationFolder; // holds config.json and set-aside copies
    std::filesystem::path configFile;
    std::filesystem::path logFolder;
    std::filesystem::path logFile;

    // ${XDG_CONFIG_HOME:-~/.config}/Velquor and ${XDG_STATE_HOME:-~/.local/state}/Velquor.
    // Creates nothing. Throws std::runtime_error when the home folder cannot be found.
    static FileLocations forCurrentUser();
};

} // namespace velquor
