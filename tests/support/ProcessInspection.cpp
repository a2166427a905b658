#include "tests/support/ProcessInspection.h"

#include "tests/support/Files.h"

#include <filesystem>
#include <functional>
#include <sstream>

namespace velquor::test {

namespace {

namespace fs = std::filesystem;

// The fields of /proc/<pid>/stat after the command name, which may itself hold spaces and
// parentheses; empty once the process is gone.
std::string statFields(std::int32_t pid) {
    const auto stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    const auto close = stat.rfind(')');
    return close == std::string::npos ? std::string() : stat.substr(close + 1);
}

// Every process now running for which keep(pid) holds.
std::vector<std::int32_t> processesWhere(const std::function<bool(std::int32_t)>& keep) {
    std::vector<std::int32_t> pids;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const auto name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos && keep(std::stoi(name))) {
            pids.push_back(std::stoi(name));
        }
    }
    return pids;
}

} // namespace

std::optional<char> processState(std::int32_t pid) {
    char state = 0;
    if (std::istringstream(statFields(pid)) >> state) {
        return state;
    }
    return std::nullopt;
}

std::vector<std::string> openDescriptorTargets(std::int32_t pid) {
    std::vector<std::string> targets;
    std::error_code ignored;
    for (const auto& entry :
         fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", ignored)) {
        targets.push_back(fs::read_symlink(entry.path(), ignored).string());
    }
    return targets;
}

std::vector<std::int32_t> childrenOf(std::int32_t parent) {
    return processesWhere([&](std::int32_t pid) {
        char state = 0;
        std::int32_t ppid = 0;
        return (std::istringstream(statFields(pid)) >> state >> ppid) && ppid == parent;
    });
}

std::vector<std::int32_t> socatsWith(const std::string& part) {
    return processesWhere([&](std::int32_t pid) {
        // The arguments, each ended by a NUL: the first one's name is the program's.
        const auto commandLine = readFile("/proc/" + std::to_string(pid) + "/cmdline");
        return fs::path(commandLine.c_str()).filename() == "socat" &&
               commandLine.find(part) != std::string::npos;
    });
}

} // namespace velquor::test
