#include "bench/ConfigFile.h"

#include "core/config/ForwarderConfig.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <stdexcept>

namespace velquor::bench {

void ConfigFile::write(const std::filesystem::path& file, std::int64_t listenPort,
                       const std::string& discoveryUrl, std::int64_t checkIntervalSeconds,
                       bool autoStart) {
    auto json = ForwarderConfig::defaults().toJson();
    json["listenPort"] = listenPort;
    json["recentListenPorts"] = {listenPort};
    json["discoveryURL"] = discoveryUrl;
    json["checkIntervalSeconds"] = checkIntervalSeconds;
    json["autoStart"] = autoStart;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file);
    out << json.dump(2) << "\n";
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace velquor::bench
