#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velquor::test {

// The file's bytes; empty when it does not exist (yet) or cannot be read, which suits polling.
std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);
// The damaged configuration files set aside in folder ("config.json.invalid-…").
std::vector<std::filesystem::path> asideFiles(const std::filesystem::path& folder);

} // namespace velquor::test
