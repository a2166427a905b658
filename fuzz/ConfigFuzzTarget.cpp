// config.json is edited by hand and may be anything. Decoding either refuses it with the
// exceptions the store catches (JSON errors, the core's validation errors) or yields a
// configuration that keeps every promise of ForwarderConfig, survives a save and a load
// unchanged, and is what ConfigStore itself loads from the same bytes. Its hosts are kept as
// written; the socat command built from them is refused or holds nothing socat reads as syntax.

#include "core/config/ConfigStore.h"
#include "core/config/ForwarderConfig.h"
#include "core/forwarding/SocatCommand.h"
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
    const auto saved = config.toJson().dump(2);
    fuzz::require(decoded(saved) == config, "does not load back as saved", saved);
}

// The host between a prefix and a suffix of an argument, which both must be there.
std::string_view hostIn(std::string_view argument, std::string_view prefix,
                        std::string_view suffix) {
    fuzz::require(argument.starts_with(prefix) && argument.ends_with(suffix) &&
                      argument.size() >= prefix.size() + suffix.size(),
                  "argument out of shape", argument);
    return argument.substr(prefix.size(), argument.size() - prefix.size() - suffix.size());
}

void checkCommand(const ForwarderConfig& config) {
    const auto target = config.target.value_or(TargetEndpoint("10.0.0.5", 3260));
    std::optional<SocatCommand> command;
    try {
        command.emplace("/s", config.listenHost, config.listenPort, target);
    } catch (const Error&) {
        return;
    }
    const auto& arguments = command->arguments;
    fuzz::require(arguments.size() == 2, "not two arguments");
    auto listen =
        hostIn(arguments[0],
               "TCP-LISTEN:" + std::to_string(config.listenPort) + ",bind=", ",reuseaddr,fork");
    if (listen.ends_with(",pf=ip6")) {
        listen.remove_suffix(7);
    }
    fuzz::require(fuzz::isSocatSafeHost(listen), "listen host socat reads as syntax", listen);
    const auto to =
        hostIn(arguments[1], "TCP:", ":" + std::to_string(target.port()) + ",nodelay,keepalive");
    fuzz::require(fuzz::isSocatSafeHost(to), "target host socat reads as syntax", to);
    fuzz::require(target.port() >= 1 && target.port() <= 65535, "target port", target.text());
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
        checkCommand(*config);
        checkStoreLoads(text, *config);
    }
    return 0;
}
