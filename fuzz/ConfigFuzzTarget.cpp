// config.json is edited by hand and may be anything. Decoding either refuses it with the
// exceptions the store catches (JSON errors, the core's validation errors) or yields a
// configuration that keeps every promise of ForwarderConfig, puts nothing on socat's command
// line that socat reads as syntax, survives a save and a load unchanged, and is what ConfigStore
// itself loads from the same bytes.

#include "core/config/ConfigStore.h"
#include "core/config/ForwarderConfig.h"
#include "fuzz/FuzzChecks.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>

using namespace velquor;

namespace {

std::optional<ForwarderConfig> decoded(const std::string& text) {
    // The JSON reader stops at a NUL; the store counts what follows one as damage.
    if (text.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    try {
        return ForwarderConfig::fromJson(nlohmann::json::parse(text)).validated();
    } catch (const nlohmann::json::exception&) {
    } catch (const Error&) {
    } catch (const std::exception& error) {
        fuzz::fail("unexpected exception", error.what());
    }
    return std::nullopt;
}

void checkPromises(const ForwarderConfig& config) {
    const auto& ports = config.recentListenPorts;
    fuzz::require(ForwarderConfig::isValidListenPort(config.listenPort), "listen port",
                  std::to_string(config.listenPort));
    fuzz::require(std::ranges::all_of(ports, ForwarderConfig::isValidListenPort) &&
                      std::set(ports.begin(), ports.end()).size() == ports.size() &&
                      ports.size() <= ForwarderConfig::recentListenPortLimit && !ports.empty() &&
                      ports.back() == config.listenPort,
                  "recent listen ports", config.toJson().dump());
    fuzz::require(fuzz::isSocatSafeHost(config.listenHost), "listenHost socat reads as syntax",
                  config.listenHost);
    if (config.target) {
        fuzz::require(fuzz::isSocatSafeHost(config.target->host()),
                      "target host socat reads as syntax", config.target->host());
        fuzz::require(config.target->port() >= 1 && config.target->port() <= 65535, "target port",
                      config.target->text());
    }
    const auto saved = config.toJson().dump(2);
    fuzz::require(decoded(saved) == config, "does not load back as saved", saved);
}

// One folder per process: the store renames and writes beside the file it is given. Never
// destroyed, so that the clean-up at exit can still name it.
const std::filesystem::path& configFile() {
    static const auto* file = [] {
        std::string folder = std::filesystem::temp_directory_path() / "velquor-fuzz-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr) {
            fuzz::fail("cannot create a temporary folder", folder);
        }
        std::atexit([] { std::filesystem::remove_all(configFile().parent_path()); });
        return new std::filesystem::path(std::filesystem::path(folder) / "config.json");
    }();
    return *file;
}

// Only for files that decode: a damaged one is set aside and replaced with a synced write,
// which would slow the fuzzer down a hundredfold for a path the unit tests cover.
void checkStoreLoads(const std::string& text, const ForwarderConfig& expected) {
    const auto& file = configFile();
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    const auto loaded = ConfigStore(file).load();
    fuzz::require(loaded == expected, "ConfigStore loads something else", text);
    fuzz::require(std::filesystem::exists(file), "a valid file was set aside", text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto config = decoded(text)) {
        checkPromises(*config);
        checkStoreLoads(text, *config);
    }
    return 0;
}
