// Hand-written configuration files against the real qarvexd and socat: what a file holds never
// reaches socat's command line. A host socat would misread fails the start and stays in the
// file as written; a file cut short is set aside and the service starts on the defaults.
#include "tests/e2e/WholeSystem.h"

#include <regex>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Case {
    std::string name;
    const char* key; // nothing: the file is cut short
    // MARKER stands for a file no command may create; ADDRESS for a target that accepts, so that
    // the left half of a forged "…!!SYSTEM:…" target opens and socat would go on to the right.
    json value;
};

const Case cases[] = {
    {"CachedTargetRunningACommand",
     "target",
     {{"host", "ADDRESS!!SYSTEM:touch MARKER;true {"}, {"port", 3260}}},
    {"ListenHostRunningACommand", "listenHost", "127.0.0.1!!SYSTEM:touch MARKER;true {"},
    {"ListenHostAddingAnOption", "listenHost", "127.0.0.1,fork"},
    {"CachedTargetWithANulByte",
     "target",
     {{"host", std::string("127.0.0.1\0,fork", 15)}, {"port", 3260}}},
    {"CutShort", nullptr, nullptr},
};

class HostileConfigTest : public QarvexdTest, public ::testing::WithParamInterface<Case> {};

TEST_P(HostileConfigTest, RunsNothing) {
    const auto marker = (m_home / "marker").string();
    const char* key = GetParam().key;
    // Settings that would start forwarding to the cached target at once.
    auto settings = config(true);
    settings["discoveryURL"] = unreachableUrl();
    auto bytes = settings.dump(2);
    if (key) {
        settings[key] = GetParam().value;
        bytes = std::regex_replace(settings.dump(2), std::regex("MARKER"), marker);
        bytes = std::regex_replace(bytes, std::regex("ADDRESS"),
                                   "127.0.0.1:" + std::to_string(m_target.port()));
    } else {
        bytes.resize(bytes.size() / 2);
    }
    fs::create_directories(m_configFile.parent_path());
    writeFile(m_configFile, bytes);

    startDaemon();
    ASSERT_TRUE(waitForLog(key ? "ERROR: Failed to start service: " : "Configuration loaded"))
        << output();
    const auto aside = asideFiles(m_configFile.parent_path());
    if (key) {
        EXPECT_TRUE(aside.empty()) << log();
        EXPECT_EQ(json::parse(readFile(m_configFile))[key], json::parse(bytes)[key]);
    } else {
        ASSERT_EQ(aside.size(), 1u) << log();
        EXPECT_EQ(readFile(aside[0]), bytes);
        EXPECT_EQ(ForwarderConfig::fromJson(json::parse(readFile(m_configFile))),
                  ForwarderConfig::defaults());
        EXPECT_EQ(log().find("ERROR"), std::string::npos) << log();
    }
    EXPECT_FALSE(isListening(m_listenPort));
    EXPECT_FALSE(fs::exists(marker));
    EXPECT_EQ(log().find("socat started"), std::string::npos) << log();
    // The fixture kills it rather than stopping it: a stop would act on the default port, which
    // belongs to the user.
}

INSTANTIATE_TEST_SUITE_P(Files, HostileConfigTest, ::testing::ValuesIn(cases),
                         [](const auto& info) { return info.param.name; });

} // namespace
} // namespace velquor::test
