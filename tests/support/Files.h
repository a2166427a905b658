#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace velquor::test {

// The file's bytes; empty when it does not exist (yet) or cannot be read, which suits polling.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return std::move(content).str();
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// The damaged configuration files set aside in folder ("config.json.invalid-…").
inline std::vector<std::filesystem::path> asideFiles(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> result;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with("config.json.invalid-")) {
            result.push_back(entry.path());
        }
    }
    return result;
}

} // namespace velquor::test
