#include "core/files/UserFolders.h"

#include <cstdlib>
#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace velquor {

std::filesystem::path UserFolders::home() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return home;
    }
    if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir) {
        return entry->pw_dir;
    }
    throw std::runtime_error("cannot find the home folder of this user");
}

std::filesystem::path UserFolders::xdg(const char* variable,
                                       const std::filesystem::path& fallback) {
    if (const char* value = std::getenv(variable); value != nullptr && *value == '/') {
        return value;
    }
    return home() / fallback;
}

} // namespace velquor
