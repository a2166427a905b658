#pragma once

#include <filesystem>
#include <string>

namespace velquor::bench {

// Where and when the figures were taken, for the reader to judge them by.
class MachineDescription {
public:
    // Markdown list lines: date, processors, kernel and the file system the bench writes to
    // (every health check syncs the configuration file to it).
    static std::string markdown(const std::filesystem::path& workFolder);
    // The 1, 5 and 15 minute load averages: on a shared machine, other work shows here first.
    static std::string loadAverage();
};

} // namespace velquor::bench
