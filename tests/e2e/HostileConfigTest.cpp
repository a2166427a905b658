// Hand-written configuration files against the real qarvexd and socat: what a file holds never
// reaches socat's command line; a file that breaks the host rule is set aside like a damaged one.
#include "core/config/ForwarderConfig.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "tests/e2e/WholeSystem.h"
#include "tests/support/Files.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST(HostileConfigTest, AFileWithHostsSocatReadsAsSyntaxIsSetAsideAndRunsNothing) {
    if (!fs::exists("/usr/bin/socat")) {
        GTEST_SKIP() << "socat is not installed (scripts/install-deps installs it)";
    }
    // Something to connect to, so that the left half of a forged "…!!SYSTEM:…" target opens and
    // socat goes on to run the right half.
    LoopbackListener reachable;
    const auto address = "127.0.0.1:" + std::to_string(reachable.port());
    struct Case {
        const char* name;
        const char* key;
        std::function<nlohmann::json(const std::string& marker)> value;
    };
    const Case cases[] = {
        {"cached target running a command", "target",
         [&](const std::string& marker) {
             return nlohmann::json{{"host", address + "!!SYSTEM:touch " + marker + ";true {"},
                                   {"port", 3260}};
         }},
        {"listen host running a command", "listenHost",
         [](const std::string& marker) { return "127.0.0.1!!SYSTEM:touch " + marker + ";true {"; }},
        {"listen host adding an option", "listenHost",
         [](const std::string&) { return "127.0.0.1,fork"; }},
        {"cached target with a NUL byte", "target",
         [&](const std::string&) {
             return nlohmann::json{{"host", std::string("127.0.0.1\0,fork", 15)},
                                   {"port", reachable.port()}};
         }},
    };
    for (const auto& [name, key, value] : cases) {
        SCOPED_TRACE(name);
        TemporaryDirectory home;
        const auto configFile = home / ".config" / "Velquor" / "config.json";
        const auto marker = (home / "marker").string();
        const auto listenPort = freeTcpPort();
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = listenPort;
        json["autoStart"] = true;
        // Discovery is down, so a start would take the cached target.
        json["discoveryURL"] = "http://127.0.0.1:" + std::to_string(freeTcpPort()) + "/x";
        json["target"] = {{"host", "127.0.0.1"}, {"port", reachable.port()}};
        json[key] = value(marker);
        const auto bytes = json.dump(2);
        fs::create_directories(configFile.parent_path());
        std::ofstream(configFile) << bytes;

        DaemonProcess daemon(home.path());
        const auto log = home / ".local" / "state" / "Velquor" / "service.log";
        ASSERT_TRUE(waitUntil([&] {
            return readFile(log).find("Configuration loaded") != std::string::npos;
        })) << readFile(home / "qarvexd.out");
        const auto aside = asideFiles(configFile.parent_path());
        ASSERT_EQ(aside.size(), 1u) << readFile(log);
        EXPECT_EQ(readFile(aside[0]), bytes);
        EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(readFile(configFile))),
                  ForwarderConfig::defaults());
        // The defaults do not start by themselves: nothing listens where the file said.
        EXPECT_FALSE(NetworkPortChecker().isListening("127.0.0.1", listenPort));
        EXPECT_FALSE(fs::exists(marker));
        EXPECT_EQ(readFile(log).find("socat started"), std::string::npos) << readFile(log);
        // Killed by the destructor, not stopped: a stop would act on the default port, which
        // belongs to the user.
    }
}

} // namespace
} // namespace velquor::test
