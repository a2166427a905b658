#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace velquor::bench {

// A config.json as a user would leave it: the defaults but for where to listen, where to ask
// for the target, how often to check and whether to start at once.
class ConfigFile {
public:
    static void write(const std::filesystem::path& file, std::int64_t listenPort,
                      const std::string& discoveryUrl, std::int64_t checkIntervalSeconds,
                      bool autoStart);
};

} // namespace velquor::bench
