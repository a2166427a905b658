#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace velquor::harness {

// The installed programs the benchmark and the whole-system tests drive, found where Debian
// puts them.
class SystemTool {
public:
    // Throws std::runtime_error naming the program when it is not installed.
    static std::filesystem::path find(const std::string& name);
    // Runs the program to its end; its standard output, or std::runtime_error with the command
    // line and that output when it fails.
    static std::string run(const std::string& name, const std::vector<std::string>& arguments,
                           std::chrono::milliseconds timeout);
};

} // namespace velquor::harness
