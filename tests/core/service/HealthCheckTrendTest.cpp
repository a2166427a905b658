#include "core/service/ServiceController.h"
#include "tests/support/FakeForwarding.h"
#include "tests/support/ScriptedResolver.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace velquor {
namespace {

namespace fs = std::filesystem;

const TargetEndpoint cached("10.0.0.5", 3260);
constexpr std::int64_t threshold = 3;

class TargetDouble : public PortChecking {
public:
    explicit TargetDouble(const bool& refusing) : m_refusing(refusing) {}
    bool isListening(const std::string&, std::int64_t) override { return !m_refusing; }

private:
    const bool& m_refusing;
};

enum class Trouble { targetRefuses, discoveryDown };
enum class Interruption { none, userStart, userStop };

struct TrendCase {
    const char* name;
    Trouble trouble;
    Interruption interruption;
    // The failing check, counted from the first, that raises the warning.
    int warnsAt;
    const char* findingsText;
};

const TrendCase trendCases[] = {
    {"RefusingTarget", Trouble::targetRefuses, Interruption::none, threshold,
     "target 10.0.0.5:3260 refuses connections"},
    {"DiscoveryDown", Trouble::discoveryDown, Interruption::none, threshold,
     "discovery unreachable, using cached target 10.0.0.5:3260"},
    {"StartBeginsANewRun", Trouble::targetRefuses, Interruption::userStart, 2 * threshold - 1,
     "target 10.0.0.5:3260 refuses connections"},
    {"StopBeginsANewRun", Trouble::discoveryDown, Interruption::userStop, 2 * threshold - 1,
     "discovery unreachable, using cached target 10.0.0.5:3260"},
};

class HealthCheckTrendTest : public ::testing::TestWithParam<TrendCase> {
protected:
    void SetUp() override {
        writeConfig([](auto& json) {
            json["target"] = cached.toJson();
            json["failureThreshold"] = threshold;
        });
        m_controller = std::make_unique<ServiceController>(
            ConfigStore(m_configFile), LogManager(m_logFile),
            std::make_unique<test::ScriptedResolver>(m_discovery),
            test::makeFakeSocatManager(m_machine), std::make_unique<TargetDouble>(m_refusing));
    }

    void writeConfig(const std::function<void(nlohmann::json&)>& edit) {
        auto json = ForwarderConfig::defaults().toJson();
        edit(json);
        fs::create_directories(m_configFile.parent_path());
        std::ofstream(m_configFile) << json.dump();
    }

    // Log lines that contain the text.
    int logLinesWith(const std::string& text) const {
        std::ifstream in(m_logFile);
        int count = 0;
        for (std::string line; std::getline(in, line);) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    test::TemporaryDirectory m_dir;
    fs::path m_configFile = m_dir / "config.json";
    fs::path m_logFile = m_dir / "service.log";
    test::DiscoveryScript m_discovery;
    test::FakeMachine m_machine;
    bool m_refusing = false;
    std::unique_ptr<ServiceController> m_controller;
};

TEST_P(HealthCheckTrendTest, WarnsOnceAtTheThresholdAndRecoversWithOneLine) {
    const auto& param = GetParam();
    m_controller->load();
    m_controller->start();
    m_refusing = param.trouble == Trouble::targetRefuses;
    if (param.trouble == Trouble::discoveryDown) {
        m_discovery.target.reset();
    }
    for (int check = 1; check <= param.warnsAt + 1; ++check) {
        if (param.interruption != Interruption::none && check == threshold) {
            const auto interrupted = param.interruption == Interruption::userStart
                                         ? m_controller->start()
                                         : m_controller->stop();
            EXPECT_FALSE(interrupted.healthWarning);
        }
        const auto snapshot = m_controller->healthCheck();
        EXPECT_EQ(snapshot.healthChange.has_value(), check == param.warnsAt) << "check " << check;
        EXPECT_EQ(snapshot.healthWarning.has_value(), check >= param.warnsAt) << "check " << check;
    }
    EXPECT_EQ(logLinesWith("WARNING: Health check failing"), 1);
    EXPECT_EQ(logLinesWith(param.findingsText), 1);

    m_refusing = false;
    m_discovery.target = cached;
    const auto recovered = m_controller->healthCheck();
    ASSERT_TRUE(recovered.healthChange);
    EXPECT_EQ(recovered.healthChange->kind, HealthTrend::Change::Kind::recovery);
    EXPECT_FALSE(recovered.healthWarning);
    EXPECT_FALSE(m_controller->healthCheck().healthChange);
    EXPECT_EQ(logLinesWith("Health checks passing again"), 1);
}

INSTANTIATE_TEST_SUITE_P(Cases, HealthCheckTrendTest, ::testing::ValuesIn(trendCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Files written before the switch existed have no key and keep notifications on.
TEST(DesktopNotificationsKeyTest, AbsentReadsAsOnAndAStoredValueIsKept) {
    const std::pair<std::optional<bool>, bool> cases[] = {
        {std::nullopt, true}, {false, false}, {true, true}};
    for (const auto& [stored, expected] : cases) {
        test::TemporaryDirectory dir;
        auto json = ForwarderConfig::defaults().toJson();
        json.erase("desktopNotifications");
        if (stored) {
            json["desktopNotifications"] = *stored;
        }
        std::ofstream(dir / "config.json") << json.dump();
        test::DiscoveryScript discovery;
        test::FakeMachine machine;
        ServiceController controller(ConfigStore(dir / "config.json"),
                                     LogManager(dir / "service.log"),
                                     std::make_unique<test::ScriptedResolver>(discovery),
                                     test::makeFakeSocatManager(machine));
        EXPECT_EQ(controller.load().config.desktopNotifications, expected)
            << (stored ? (*stored ? "true" : "false") : "absent");
    }
}

} // namespace
} // namespace velquor
