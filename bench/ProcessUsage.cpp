#include "bench/ProcessUsage.h"

#include "bench/FileText.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace velquor::bench {

namespace {

// "Name:   1234 kB" in /proc status-like files.
std::int64_t kibField(const std::string& text, const std::string& name) {
    const auto at = ("\n" + text).find("\n" + name + ":");
    if (at == std::string::npos) {
        return 0;
    }
    return std::stoll(text.substr(at + name.size() + 1));
}

std::string processFolder(std::int32_t pid) {
    return "/proc/" + std::to_string(pid);
}

bool isMappingHeader(const std::string& line) {
    const auto dash = line.find('-');
    const auto space = line.find(' ');
    return dash != std::string::npos && space != std::string::npos && dash < space &&
           line.find_first_not_of("0123456789abcdef-") == space;
}

} // namespace

ProcessUsage::Memory ProcessUsage::memory(std::int32_t pid) {
    const auto status = requiredContentOf(processFolder(pid) + "/status");
    const auto rollup = requiredContentOf(processFolder(pid) + "/smaps_rollup");
    return {kibField(status, "VmRSS"), kibField(status, "RssAnon"), kibField(status, "RssFile"),
            kibField(rollup, "Pss"), kibField(status, "VmHWM")};
}

ProcessUsage::Cpu ProcessUsage::cpu(std::int32_t pid) {
    const auto stat = requiredContentOf(processFolder(pid) + "/stat");
    // The command name may hold blanks and parentheses; the fields start after the last ')'.
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::vector<std::string> values;
    for (std::string value; fields >> value;) {
        values.push_back(value);
    }
    if (values.size() < 15) {
        throw std::runtime_error("unexpected " + processFolder(pid) + "/stat");
    }
    // values[0] is field 3 (state); utime, stime, cutime and cstime are fields 14 to 17.
    const auto ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    Cpu cpu{(std::stod(values[11]) + std::stod(values[12])) / ticks,
            (std::stod(values[13]) + std::stod(values[14])) / ticks, 0};
    std::error_code error;
    for (const auto& task :
         std::filesystem::directory_iterator(processFolder(pid) + "/task", error)) {
        std::ifstream schedstat(task.path() / "schedstat");
        double nanoseconds = 0;
        if (schedstat >> nanoseconds) {
            cpu.scheduledSeconds += nanoseconds / 1e9;
        }
    }
    return cpu;
}

std::vector<std::pair<std::string, std::int64_t>>
ProcessUsage::residentByMapping(std::int32_t pid) {
    std::istringstream smaps(requiredContentOf(processFolder(pid) + "/smaps"));
    std::map<std::string, std::int64_t> sizes;
    std::string name;
    for (std::string line; std::getline(smaps, line);) {
        if (isMappingHeader(line)) {
            std::istringstream fields(line);
            std::string ignored;
            for (int i = 0; i < 5; ++i) {
                fields >> ignored;
            }
            std::getline(fields >> std::ws, name);
            if (name.empty()) {
                name = "[anonymous]";
            }
        } else if (line.starts_with("Rss:")) {
            sizes[name] += std::stoll(line.substr(4));
        }
    }
    std::vector<std::pair<std::string, std::int64_t>> sorted(sizes.begin(), sizes.end());
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& a, const auto& b) { return a.second > b.second; });
    return sorted;
}

} // namespace velquor::bench
