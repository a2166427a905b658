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

// The processes whose parent is parent, as /proc tells, not as the code under test would.
std::vector<std::int32_t> childrenOf(std::int32_t parent);

// The socat processes whose command line holds part (e.g. "TCP-LISTEN:18082,").
std::vector<std::int32_t> socatsWith(const std::string& part);

} // namespace velquor::test
