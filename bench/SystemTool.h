#pragma once

#include <filesystem>
#include <string>

namespace velquor::bench {

// The installed programs the bench drives, found where Debian puts them.
class SystemTool {
public:
    // Throws std::runtime_error naming the program when it is not installed.
    static std::filesystem::path find(const std::string& name);
};

} // namespace velquor::bench
