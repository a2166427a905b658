#include "tests/support/ProcessInspection.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace velquor::test {

std::optional<char> processState(std::int32_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // The command name in parentheses may itself hold spaces and parentheses.
    const auto close = stat.rfind(')');
    if (close == std::string::npos || close + 2 >= stat.size()) {
        return std::nullopt;
    }
    return stat[close + 2];
}

std::vector<std::string> openDescriptorTargets(std::int32_t pid) {
    std::vector<std::string> targets;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", ignored)) {
        targets.push_back(std::filesystem::read_symlink(entry.path(), ignored).string());
    }
    return targets;
}

} // namespace velquor::test
