#pragma once

#include <filesystem>

namespace velquor {

// The current user's base folders, as the XDG base directory rules find them.
class UserFolders {
public:
    // $HOME when it is an absolute path, else the password database's entry. Throws
    // std::runtime_error when neither gives one.
    static std::filesystem::path home();
    // The XDG variable when it holds an absolute path (anything else is ignored, as the rules
    // say), else home() / fallback.
    static std::filesystem::path xdg(const char* variable, const std::filesystem::path& fallback);
};

} // namespace velquor
