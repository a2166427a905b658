#include "core/config/ForwarderConfig.h"

#include "tests/support/HostileHosts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace velquor {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Ports = std::vector<std::int64_t>;

ForwarderConfig makeConfig(std::int64_t listenPort, Ports recent) {
    return ForwarderConfig("127.0.0.1", listenPort, ForwarderConfig::defaultDiscoveryURL(), 60, 3,
                           false, 1, std::nullopt, std::move(recent));
}

template <typename Action, typename Error> void expectError(Action action, const Error& expected) {
    try {
        action();
        ADD_FAILURE() << "expected " << expected.what();
    } catch (const Error& error) {
        EXPECT_EQ(error, expected);
        EXPECT_STREQ(error.what(), expected.what());
    }
}

template <typename Action> void expectInvalidListenPort(Action action, std::int64_t port) {
    const auto expected = ForwarderConfig::ValidationError::invalidListenPort(port);
    EXPECT_EQ(expected.what(), "invalidListenPort(" + std::to_string(port) + ")");
    expectError(action, expected);
}

nlohmann::json storedJson() {
    return nlohmann::json::parse(R"({
        "autoStart": true, "checkIntervalSeconds": 30, "discoveryURL": "https://d.example/x",
        "failureThreshold": 5, "listenHost": "127.0.0.1", "listenPort": 18082,
        "logRetentionDays": 7})");
}

TEST(ForwarderConfig, ListenPortsAreValidFrom1024To65535) {
    for (const std::int64_t port : {1024L, 18082L, 65535L}) {
        EXPECT_TRUE(ForwarderConfig::isValidListenPort(port)) << port;
    }
    for (const std::int64_t port : {-1L, 0L, 80L, 1023L, 65536L}) {
        EXPECT_FALSE(ForwarderConfig::isValidListenPort(port)) << port;
        expectInvalidListenPort([&] { ForwarderConfig::validateListenPort(port); }, port);
    }
}

TEST(ForwarderConfig, DefaultsAreTheDocumentedValues) {
    const auto& config = ForwarderConfig::defaults();
    EXPECT_EQ(config.listenHost, "127.0.0.1");
    EXPECT_EQ(config.listenPort, 18082);
    EXPECT_EQ(config.discoveryURL.scheme, "http");
    EXPECT_TRUE(config.discoveryURL.text.ends_with("/dynamic-port"));
    EXPECT_EQ(config.checkIntervalSeconds, 60);
    EXPECT_EQ(config.failureThreshold, 3);
    EXPECT_FALSE(config.autoStart);
    EXPECT_EQ(config.logRetentionDays, 1);
    EXPECT_FALSE(config.target.has_value());
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082));
}

TEST(ForwarderConfig, ConstructorChecksListenPortFirstThenHistoryInOrder) {
    expectInvalidListenPort([] { makeConfig(80, {70}); }, 80);
    expectInvalidListenPort([] { makeConfig(18082, {18090, 70, 80}); }, 70);
}

TEST(ForwarderConfig, HistoryMovesReusedPortsToTheEndAndKeepsTheNewestEight) {
    EXPECT_THAT(makeConfig(18082, {18082, 18090}).recentListenPorts, ElementsAre(18090, 18082));

    Ports ten;
    for (std::int64_t port = 21001; port <= 21010; ++port) {
        ten.push_back(port);
    }
    Ports newest(ten.begin() + 2, ten.end());
    EXPECT_THAT(makeConfig(21010, ten).recentListenPorts, ElementsAreArray(newest));
}

TEST(ForwarderConfig, ValidatedReportsListenPortBeforeHistory) {
    auto config = makeConfig(18082, {});
    config.recentListenPorts = {80};
    expectInvalidListenPort([&] { (void)config.validated(); }, 80);
    config.listenPort = 70;
    expectInvalidListenPort([&] { (void)config.validated(); }, 70);
    config = makeConfig(18082, {});
    EXPECT_EQ(config.validated(), config);
}

TEST(ForwarderConfig, ValidatedRefusesHostsThatAreNotPlainAfterThePorts) {
    using TargetError = TargetEndpoint::ValidationError;
    for (const auto& host : test::hostileHosts()) {
        auto json = storedJson();
        json["listenHost"] = host;
        const auto listening = ForwarderConfig::fromJson(json); // decoding takes it as it is
        expectError([&] { (void)listening.validated(); },
                    ForwarderConfig::ValidationError::invalidListenHost(host));
        json = storedJson();
        json["target"] = {{"host", host}, {"port", 3260}};
        expectError([&] { (void)ForwarderConfig::fromJson(json).validated(); },
                    TargetError::invalidHost(host));
    }
    const std::pair<nlohmann::json, TargetError> targets[] = {
        {{{"host", ""}, {"port", 3260}}, TargetError::emptyHost()},
        {{{"host", " h"}, {"port", 3260}}, TargetError::invalidHost(" h")},
        {{{"host", "h"}, {"port", 0}}, TargetError::invalidPort(0)},
    };
    for (const auto& [target, error] : targets) {
        auto json = storedJson();
        json["target"] = target;
        expectError([&] { (void)ForwarderConfig::fromJson(json).validated(); }, error);
    }
    auto json = storedJson();
    json["listenHost"] = "a,b";
    json["listenPort"] = 80;
    expectInvalidListenPort([&] { (void)ForwarderConfig::fromJson(json).validated(); }, 80);
    EXPECT_STREQ(ForwarderConfig::ValidationError::invalidListenHost("a\\\"\n").what(),
                 R"(invalidListenHost("a\\\"\n"))");
}

TEST(ForwarderConfig, RecordingAnInvalidPortChangesNothing) {
    auto config = makeConfig(18082, {});
    expectInvalidListenPort([&] { config.recordListenPorts({18090, 80}); }, 80);
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082));

    config.recordListenPorts({18090, 18082, 18091});
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18090, 18091, 18082));
}

TEST(ForwarderConfig, HistoricalPortsLeaveOutTheCurrentPort) {
    auto config = makeConfig(18082, {18090});
    EXPECT_THAT(config.historicalListenPorts(), ElementsAre(18090));
    config.listenPort = 18090;
    EXPECT_THAT(config.historicalListenPorts(), ElementsAre(18082));
}

TEST(ForwarderConfig, DecodingNormalisesHistoryWithoutValidatingPorts) {
    auto json = storedJson();
    auto config = ForwarderConfig::fromJson(json);
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082)) << "absent list";
    EXPECT_FALSE(config.target.has_value());
    EXPECT_EQ(config.discoveryURL.text, "https://d.example/x");

    json["recentListenPorts"] = {1, 18082, 18082, 30000};
    EXPECT_THAT(ForwarderConfig::fromJson(json).recentListenPorts, ElementsAre(30000, 18082));

    json["listenPort"] = 80;
    json["target"] = {{"host", ""}, {"port", 0}};
    config = ForwarderConfig::fromJson(json);
    EXPECT_EQ(config.listenPort, 80);
    EXPECT_EQ(config.target->host(), "");
    EXPECT_THAT(config.recentListenPorts, ElementsAre(18082, 30000));

    json["target"] = nullptr;
    json["recentListenPorts"] = nullptr;
    json["unknown"] = "ignored";
    EXPECT_FALSE(ForwarderConfig::fromJson(json).target.has_value());
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
        auto json = storedJson();
        json[key] = value;
        EXPECT_THROW(ForwarderConfig::fromJson(json), nlohmann::json::exception)
            << key << " = " << value.dump();
    }
    for (const char* key : {"listenHost", "listenPort", "discoveryURL", "checkIntervalSeconds",
                            "failureThreshold", "autoStart", "logRetentionDays"}) {
        auto json = storedJson();
        json.erase(key);
        EXPECT_THROW(ForwarderConfig::fromJson(json), nlohmann::json::exception) << key;
    }
    auto json = storedJson();
    json["listenPort"] = 18082.0; // integral, only spelled as a float
    EXPECT_EQ(ForwarderConfig::fromJson(json).listenPort, 18082);
}

TEST(ForwarderConfig, EncodingRoundTripsAndOmitsAnAbsentTarget) {
    auto config = makeConfig(18082, {18090});
    auto json = config.toJson();
    EXPECT_FALSE(json.contains("target"));
    EXPECT_EQ(json["recentListenPorts"], nlohmann::json({18090, 18082}));
    EXPECT_EQ(ForwarderConfig::fromJson(json), config);

    config.target = TargetEndpoint("10.0.0.5", 3260);
    json = config.toJson();
    EXPECT_EQ(json["target"], nlohmann::json({{"host", "10.0.0.5"}, {"port", 3260}}));
    EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(json.dump())), config);
}

} // namespace
} // namespace velquor
