#include "VelquorApp/AppViewModel/AppViewModel.h"

#include "core/service/CheckInterval.h"
#include "tests/app/AppHarness.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTimer>
#include <gtest/gtest.h>

#include <fstream>
#include <future>

namespace velquor {
namespace {

using test::waitFor;
using namespace std::chrono_literals;

class AppViewModelTest : public ::testing::Test {
protected:
    test::AppHarness m_harness;
};

TEST(AppViewModelTexts, PortURLAndSectionNameAreReadStrictly) {
    for (const auto* text : {"1024", "65535", " 18082 ", "+20000", "\t2000\n"}) {
        EXPECT_TRUE(AppViewModel::validListenPort(QString::fromUtf8(text))) << text;
    }
    EXPECT_EQ(AppViewModel::validListenPort(QStringLiteral(" +20000 ")), 20000);
    for (const auto* text : {"1023", "65536", "0", "-1", "", "abc", "12a", "+", "- 2000", "++2000",
                             "18 082", "12345678901234567890"}) {
        EXPECT_FALSE(AppViewModel::validListenPort(QString::fromUtf8(text))) << text;
    }
    for (const auto* text : {"HTTP://discovery.example/dynamic-port", "https://10.0.0.1:8443/x"}) {
        EXPECT_TRUE(AppViewModel::validDiscoveryURL(QString::fromUtf8(text))) << text;
    }
    for (const auto* text :
         {"ftp://discovery.example/x", "http://", "discovery.example/x", "", "file:///tmp/x"}) {
        EXPECT_FALSE(AppViewModel::validDiscoveryURL(QString::fromUtf8(text))) << text;
    }
    EXPECT_EQ(appSectionFromRawValue(QStringLiteral("运行日志")), AppSection::logs);
    for (const auto* text : {"logs", "Logs", "运行日志 ", ""}) {
        EXPECT_EQ(appSectionFromRawValue(QString::fromUtf8(text)), std::nullopt) << text;
    }
}

TEST_F(AppViewModelTest, StartsWithItsInitialTextsAndLoadsInTheBackground) {
    AppViewModel model(m_harness.makeController(), m_harness.environment());
    EXPECT_EQ(model.selectedSection(), AppSection::status);
    EXPECT_EQ(model.socatRuntimeText(), QStringLiteral("未检测"));
    EXPECT_EQ(model.socatExecutableText(), QStringLiteral("/usr/bin/socat"));
    EXPECT_EQ(model.listenPortText(), QStringLiteral("18082"));
    EXPECT_EQ(model.autoStartStatusText(), QStringLiteral("开机启动状态未检查"));

    QSignalSpy loaded(&model, &AppViewModel::loaded);
    ASSERT_TRUE(loaded.wait(30000));
    EXPECT_TRUE(model.logPreview().contains(QStringLiteral("Configuration loaded")));
    EXPECT_TRUE(model.isHealthMonitorRunning());
}

TEST_F(AppViewModelTest, ARefusedOrFailedSaveSaysWhyAndOnlyTheURLMessageShowsForBoth) {
    auto& model = m_harness.start();
    model.setDiscoveryURLText(QStringLiteral("ftp://x"));
    model.setListenPortText(QStringLiteral("80"));
    model.saveSettings();
    EXPECT_EQ(model.settingsFeedbackText(),
              QStringLiteral("动态地址接口无效，请输入 http:// 或 https:// 开头的完整地址。"));
    EXPECT_TRUE(model.settingsFeedbackIsError());
    EXPECT_EQ(model.listenPortText(), QStringLiteral("80"));

    model.setDiscoveryURLText(QStringLiteral(" https://d.example:8443/p "));
    QSignalSpy preview(&model, &AppViewModel::logPreviewChanged);
    model.startService(); // an invalid draft blocks a start, but the log is still refreshed
    ASSERT_TRUE(waitFor([&] { return preview.count() > 0; }));
    EXPECT_EQ(model.settingsFeedbackText(),
              QStringLiteral("本地监听端口无效，请输入 1024 到 65535 之间的数字。"));
    EXPECT_EQ(model.discoveryURLText(), QStringLiteral(" https://d.example:8443/p "));
    EXPECT_TRUE(m_harness.machine.launched.empty());
    EXPECT_EQ(model.serviceStatus(), ServiceStatus::stopped);

    std::filesystem::remove_all(m_harness.configFile.parent_path());
    std::ofstream(m_harness.configFile.parent_path()) << "a file where the folder should be";
    model.setListenPortText(QStringLiteral("20000"));
    model.saveSettings();
    ASSERT_TRUE(waitFor(
        [&] { return model.settingsFeedbackText().startsWith(QStringLiteral("保存失败：")); }));
    EXPECT_TRUE(model.settingsFeedbackIsError());
    EXPECT_EQ(model.listenPortText(), QStringLiteral("18082")) << "the form shows what is stored";
}

TEST_F(AppViewModelTest, AStartSavesOnlyAChangedDraftAndASaveWhileRunningRestarts) {
    auto& model = m_harness.start();
    QSignalSpy feedback(&model, &AppViewModel::settingsFeedbackTextChanged);
    model.startService();
    ASSERT_TRUE(waitFor([&] { return model.serviceStatus() == ServiceStatus::running; }));
    EXPECT_EQ(feedback.count(), 0);
    EXPECT_EQ(model.socatRuntimeText(), QStringLiteral("App 启动的 socat [PID=4242]"));

    model.stopService();
    ASSERT_TRUE(waitFor([&] { return model.serviceStatus() == ServiceStatus::stopped; }));
    model.setCheckIntervalSeconds(30);
    model.startService();
    ASSERT_TRUE(waitFor([&] { return model.serviceStatus() == ServiceStatus::running; }));
    ASSERT_GE(feedback.count(), 2);
    EXPECT_EQ(model.settingsFeedbackText(),
              QStringLiteral("设置已保存。启动状态变更请使用上方启动/停止按钮。"));
    EXPECT_EQ(m_harness.storedConfig().checkIntervalSeconds, 30);

    model.setListenPortText(QStringLiteral("20001"));
    model.saveSettings();
    const auto restarted = QStringLiteral("设置已保存，运行中的转发已按新配置自动重启。");
    ASSERT_TRUE(waitFor([&] { return model.settingsFeedbackText() == restarted; }));
    EXPECT_TRUE(m_harness.machine.isListening(20001));
    EXPECT_TRUE(
        waitFor([&] { return model.logPreview().contains(QStringLiteral("restarting socat")); }));

    model.clearLogs();
    ASSERT_TRUE(waitFor([&] { return model.logPreview().isEmpty(); }));
    EXPECT_EQ(model.serviceStatus(), ServiceStatus::running) << "clearing the log keeps forwarding";
    EXPECT_FALSE(m_harness.machine.socatPids().empty());
    model.checkNow();
    EXPECT_TRUE(
        waitFor([&] { return model.logPreview().contains(QStringLiteral("Check result")); }));
}

TEST_F(AppViewModelTest, AHealthCheckWaitsTheIntervalAtLeastFiveSecondsAtMostATimersLongest) {
    m_harness.writeConfig([](auto& c) { c.checkIntervalSeconds = 1; });
    auto& model = m_harness.start();
    const auto loadedAt = std::chrono::steady_clock::now();
    ASSERT_TRUE(waitFor([&] { return model.logPreview().contains(QStringLiteral("Health check")); },
                        30000));
    EXPECT_GE(std::chrono::steady_clock::now() - loadedAt, 4500ms) << "the floor is 5 s";
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d$"))
                    .match(model.lastCheckText())
                    .hasMatch());
    // Too large for an int of milliseconds, it once made a check every 0.7 s or none at all.
    constexpr auto longest = CheckInterval::longest;
    using Row = std::pair<std::int64_t, std::chrono::milliseconds>;
    for (const auto& [seconds, wait] :
         {Row(-10, 5s), Row(6, 6s), Row(2'147'482, 2'147'482s), Row(2'147'483, longest),
          Row(2'147'484, longest), Row(4'294'968, longest), Row(10'000'000'000, longest),
          Row(INT64_MAX, longest)}) {
        m_harness.writeConfig([&](auto& c) { c.checkIntervalSeconds = seconds; });
        const auto* timer = m_harness.start().findChild<QTimer*>(QStringLiteral("healthTimer"));
        EXPECT_TRUE(timer->isActive()) << seconds;
        EXPECT_EQ(timer->intervalAsDuration(), wait) << seconds;
        EXPECT_EQ(timer->timerType(), Qt::PreciseTimer) << "a coarse one may fire 5 % early";
    }
}

// A controller whose start waits until the test lets it go, as a slow discovery answer would.
class GatedController : public ServiceController {
public:
    using ServiceController::ServiceController;
    std::promise<void> gate;
    ServiceSnapshot start() override {
        gate.get_future().wait();
        return ServiceController::start();
    }
};

TEST_F(AppViewModelTest, TheMainThreadKeepsRunningWhileTheControllerWorks) {
    auto controller = m_harness.makeController<GatedController>();
    auto& model = m_harness.start(controller);
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(10);
    model.startService(); // returns although the start cannot finish yet
    EXPECT_TRUE(waitFor([&] { return ticks >= 3; })) << "events stood still";
    EXPECT_NE(model.serviceStatus(), ServiceStatus::running);
    controller->gate.set_value();
    ASSERT_TRUE(waitFor([&] { return model.serviceStatus() == ServiceStatus::running; }));
}

} // namespace
} // namespace velquor
