#pragma once

#include <filesystem>
#include <string>

namespace velquor::test {

// The file's bytes; empty when it does not exist (yet) or cannot be read, which suits polling.
std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);

} // namespace velquor::test
