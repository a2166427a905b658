#include "core/config/ForwarderConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <numeric>

namespace velquor {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Ports = std::vector<std::int64_t>;
using ConfigError = ForwarderConfig::ValidationError;

// The error's text form, which names its case and payload; "" when the action throws none.
template <typename Action> std::string errorText(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

ForwarderConfig makeConfig(std::int64_t listenPort, Ports recent) {
    return ForwarderConfig("127.0.0.1", listenPort, ForwarderConfig::defaultDiscoveryURL(), 60, 3,
                           false, 1, std::nullopt, std::move(recent));
}

TEST(ForwarderConfig, PortHistoryKeepsTheNewestEightValidPortsCurrentLast) {
    EXPECT_THAT(makeConfig(18082, {18082, 18090}).recentListenPorts, ElementsAre(18090, 18082));
    Ports ten(10);
    std::iota(ten.begin(), ten.end(), 21001);
    EXPECT_THAT(makeConfig(21010, ten).recentListenPorts,
                ElementsAreArray(ten.begin() + 2, ten.end()));
    EXPECT_EQ(errorText([] { makeConfig(80, {70}); }), "invalidListenPort(80)");
    EXPECT_EQ(errorText([] { makeConfig(18082, {18090, 70, 80}); }), "invalidListenPort(70)");

    auto config = makeConfig(18082, {});
    EXPECT_EQ(errorText([&] { config.recordListenPorts({18090, 80}); }), "invalidListenPort(80)");
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082)) << "all or nothing";
    config.recordListenPorts({18090, 18082, 18091});
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18090, 18091, 18082));
    config.listenPort = 18090;
    EXPECT_THAT(config.historicalListenPorts(), ElementsAre(18091, 18082));
}

// Listen ports are valid from 1024 to 65535; the first fault found is named. Hosts, listen or
// cached, are the socat command's business.
TEST(ForwarderConfig, ValidatedChecksThePortsAndNothingElse) {
    using Target = std::pair<std::string, std::int64_t>;
    struct Case {
        std::int64_t listenPort;
        Ports recent;
        std::string listenHost;
        std::optional<Target> target;
        std::string error;
    };
    const Case cases[] = {
        {1024, {65535, 18082}, "127.0.0.1", Target{"h", 1}, ""},
        {1023, {}, "127.0.0.1", {}, "invalidListenPort(1023)"},
        {65536, {}, "127.0.0.1", {}, "invalidListenPort(65536)"},
        {18082, {80}, "127.0.0.1", {}, "invalidListenPort(80)"},
        {70, {80}, "a,b", Target{"", 0}, "invalidListenPort(70)"},
        {18082, {}, "a,b", Target{"", 0}, ""},
        {18082, {}, "::1", Target{" h", 3260}, ""},
    };
    for (const auto& [listenPort, recent, listenHost, target, error] : cases) {
        auto config = makeConfig(18082, {});
        config.listenPort = listenPort;
        config.recentListenPorts = recent;
        config.listenHost = listenHost;
        if (target) {
            config.target =
                TargetEndpoint::fromJson({{"host", target->first}, {"port", target->second}});
        }
        EXPECT_EQ(errorText([&] { EXPECT_EQ(config.validated(), config); }), error)
            << listenPort << " " << listenHost;
    }
}

// A hand-edited file is decoded as it stands, so that validation can name what is wrong with it.
TEST(ForwarderConfig, DecodingKeepsValuesAsWrittenAndNormalisesOnlyTheHistory) {
    auto json = ForwarderConfig::defaults().toJson();
    json.erase("recentListenPorts");
    EXPECT_THAT(ForwarderConfig::fromJson(json).recentListenPorts, ElementsAre(18082));

    json["recentListenPorts"] = {1, 18082, 18082, 30000};
    json["listenPort"] = 80;
    json["target"] = {{"host", ""}, {"port", 0}};
    auto config = ForwarderConfig::fromJson(json);
    EXPECT_EQ(config.listenPort, 80);
    EXPECT_EQ(config.target->host(), "");
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082, 30000));

    json["target"] = nullptr;
    json["recentListenPorts"] = nullptr;
    EXPECT_FALSE(ForwarderConfig::fromJson(json).target.has_value());

    config = makeConfig(18082, {18090});
    config.target = TargetEndpoint("10.0.0.5", 3260);
    json = config.toJson();
    EXPECT_EQ(json["target"], nlohmann::json({{"host", "10.0.0.5"}, {"port", 3260}}));
    EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(json.dump())), config);
}

TEST(ForwarderConfig, DecodingRefusesMissingKeysWrongTypesAndFractions) {
    const std::vector<std::pair<const char*, nlohmann::json>> damage = {
        {"listenPort", "18082"},
        {"listenPort", 18082.5},
        {"autoStart", 1},
        {"discoveryURL", "not a url"},
        {"discoveryURL", 42},
        {"recentListenPorts", {18082.5}},
        {"recentListenPorts", "18082"},
        {"target", {{"host", "h"}}},
        {"checkIntervalSeconds", 1e300},
        {"logRetentionDays", 18446744073709551615ULL},
    };
    for (const auto& [key, value] : damage) {
        auto json = ForwarderConfig::defaults().toJson();
        json[key] = value;
        EXPECT_THROW(ForwarderConfig::fromJson(json), nlohmann::json::exception)
            << key << " = " << value.dump();
    }
    for (const char* key : {"listenHost", "listenPort", "discoveryURL", "checkIntervalSeconds",
                            "failureThreshold", "autoStart", "logRetentionDays"}) {
        auto json = ForwarderConfig::defaults().toJson();
        json.erase(key);
        EXPECT_THROW(ForwarderConfig::fromJson(json), nlohmann::json::exception) << key;
    }
    auto json = ForwarderConfig::defaults().toJson();
    json["listenPort"] = 18082.0; // integral, only spelled as a float
    EXPECT_EQ(ForwarderConfig::fromJson(json).listenPort, 18082);
}

TEST(TargetEndpoint, TrimsTheHostThenRefusesAnEmptyHostThenThePortThenTheHost) {
    EXPECT_EQ(TargetEndpoint(" \t10.0.0.5\xE3\x80\x80\n", 3260).text(), "10.0.0.5:3260");
    const std::tuple<std::string, std::int64_t, const char*> cases[] = {
        {"  \n", 0, "emptyHost"},
        {" a,b ", 0, "invalidPort(0)"},
        {" a,b ", 1, R"(invalidHost("a,b"))"},
        {std::string("h\0,fork", 7), 1, R"(invalidHost("h\u{0},fork"))"},
        {"h", 0, "invalidPort(0)"},
        {"h", -1, "invalidPort(-1)"},
        {"h", 65536, "invalidPort(65536)"},
        {"h", 1, ""},
        {"h", 65535, ""},
        {"my_host-1.example", 3260, ""},
        {"H.EXAMPLE.", 3260, ""},
        {"[::1]", 3260, ""},
        {"[::ffff:10.0.0.5]", 3260, ""},
        {std::string(63, 'a') + "." + std::string(63, 'b'), 3260, ""},
        {std::string(253, 'a').replace(63, 1, ".").replace(127, 1, ".").replace(191, 1, "."), 3260,
         ""},
    };
    for (const auto& [host, port, error] : cases) {
        EXPECT_EQ(errorText([&] { TargetEndpoint(host, port); }), error) << host << ":" << port;
    }
}

} // namespace
} // namespace velquor
