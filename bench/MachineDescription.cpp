#include "bench/MachineDescription.h"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <sched.h>
#include <sys/statfs.h>
#include <sys/utsname.h>

namespace velquor::bench {

namespace {

std::string utcNow() {
    const auto now = std::time(nullptr);
    std::tm fields{};
    ::gmtime_r(&now, &fields);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &fields);
    return text;
}

std::string processorModel() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("model name")) {
            const auto colon = line.find(':');
            return colon == std::string::npos ? line : line.substr(colon + 2);
        }
    }
    return "unknown";
}

// As nproc counts them: the processors this process may run on.
int usableProcessors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) != 0) {
        return 0;
    }
    return CPU_COUNT(&set);
}

std::string fileSystemOf(const std::filesystem::path& folder) {
    struct statfs info {};
    if (::statfs(folder.c_str(), &info) != 0) {
        return "unknown";
    }
    switch (static_cast<unsigned long>(info.f_type)) {
    case 0xEF53UL:
        return "ext4";
    case 0x01021994UL:
        return "tmpfs";
    case 0x794C7630UL:
        return "overlayfs";
    case 0x9123683EUL:
        return "btrfs";
    case 0x58465342UL:
        return "xfs";
    default: {
        char text[32];
        std::snprintf(text, sizeof text, "type 0x%lx", static_cast<unsigned long>(info.f_type));
        return text;
    }
    }
}

} // namespace

std::string MachineDescription::loadAverage() {
    std::ifstream in("/proc/loadavg");
    std::string one, five, fifteen;
    in >> one >> five >> fifteen;
    return one + ", " + five + ", " + fifteen;
}

std::string MachineDescription::markdown(const std::filesystem::path& workFolder) {
    utsname system{};
    ::uname(&system);
    return "- Date: " + utcNow() + "\n- Machine: " + std::to_string(usableProcessors()) +
           " processors (nproc), " + processorModel() + ", " + system.sysname + " " +
           system.release + " " + system.machine +
           "\n- Load average when the bench began: " + loadAverage() +
           "\n- Work folder: " + workFolder.string() + " on " + fileSystemOf(workFolder) + "\n";
}

} // namespace velquor::bench
