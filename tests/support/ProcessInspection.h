#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velquor::test {

// The state letter in /proc/<pid>/stat ('R', 'S', 'Z', …); nothing once the process is gone,
// which for a child means it has been reaped.
std::optional<char> processState(std::int32_t pid);

// Where each open descriptor of the process points, as /proc/<pid>/fd shows it.
std::vector<std::string> openDescriptorTargets(std::int32_t pid);

} // namespace velquor::test
