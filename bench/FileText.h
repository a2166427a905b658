#pragma once

#include <filesystem>
#include <string>

namespace velquor::bench {

// The whole file as text; empty when it cannot be read (a log not written yet).
std::string contentOf(const std::filesystem::path& file);
// The same, but a file that cannot be opened is an error (a /proc file of a process that ended).
std::string requiredContentOf(const std::filesystem::path& file);

} // namespace velquor::bench
