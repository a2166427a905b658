#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/SettingsPage.h"
#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"
#include "VelquorApp/MainWindowView/StatusMetric.h"
#include "VelquorApp/MainWindowView/StatusPage.h"
#include "VelquorApp/MenuBarView/MenuBarView.h"
#include "VelquorApp/VelquorApp/VelquorApp.h"
#include "tests/app/RecordingNotifier.h"
#include "tests/app/Screenshots.h"
#include "tests/app/TransientStatusController.h"

#include <QProcess>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

namespace velquor {
namespace {

using test::waitFor;

HealthWarning targetRefusing() {
    HealthWarning warning;
    warning.failures = 3;
    warning.since = std::chrono::system_clock::now() - std::chrono::minutes(5);
    warning.findings.targetRefusing = TargetEndpoint("10.0.0.9", 3260);
    return warning;
}

class HealthWarningViewTest : public ::testing::Test {
protected:
    test::AppHarness m_harness;
    std::shared_ptr<test::TransientStatusController> m_controller =
        test::TransientStatusController::over(m_harness);
    std::unique_ptr<VelquorApp> m_app;

    AppViewModel& open() {
        m_app = std::make_unique<VelquorApp>(m_controller, m_harness.environment());
        QSignalSpy loaded(&m_app->viewModel(), &AppViewModel::loaded);
        EXPECT_TRUE(loaded.wait(30000));
        return m_app->viewModel();
    }

    // The next check reports the warning, or none; true once the view model shows that.
    bool warn(AppViewModel& model, bool on) {
        m_controller->report(on ? std::optional(targetRefusing()) : std::nullopt, std::nullopt);
        model.checkNow();
        return waitFor([&] { return model.healthWarningText().isEmpty() != on; });
    }
};

TEST_F(HealthWarningViewTest, AWarningIsOnBothPagesInTheTrayAndGoesWithIt) {
    auto& model = open();
    ASSERT_TRUE(warn(model, true));
    EXPECT_NE(model.healthWarningText().indexOf(QStringLiteral("10.0.0.9:3260")), -1);
    const auto line = HealthWarningLine::lineText(model.healthWarningText());

    StatusPage status(model);
    SettingsPage settings(model);
    const std::pair<QWidget*, const char*> pages[] = {{&status, "status"}, {&settings, "settings"}};
    for (const auto& [page, name] : pages) {
        page->resize(760, 900);
        page->show();
        QCoreApplication::processEvents();
        auto* shown = page->findChild<QLabel*>(QStringLiteral("healthWarningLine"));
        ASSERT_NE(shown, nullptr) << name;
        EXPECT_TRUE(shown->isVisible()) << name;
        EXPECT_EQ(shown->text(), line) << name;
        test::saveScreenshot(*page, QStringLiteral("%1-page-health-warning.png").arg(name));
    }
    EXPECT_TRUE(settings.statusPanel().lastErrorMetric().isVisible())
        << "the warning is beside the last error, not in its place";

    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 已停止\n") + line);
    EXPECT_TRUE(m_app->menu().actions().contains(&m_app->menu().warningLine()));
    EXPECT_FALSE(m_app->menu().warningLine().isEnabled());
    EXPECT_EQ(m_app->menu().warningLine().text(), line);
    m_app->menu().popup(QPoint(0, 0));
    ASSERT_TRUE(waitFor([&] { return m_app->menu().isVisible(); }));
    test::saveScreenshot(m_app->menu(), QStringLiteral("tray-menu-health-warning.png"));
    m_app->menu().hide();

    ASSERT_TRUE(warn(model, false));
    for (const auto& [page, name] : pages) {
        EXPECT_FALSE(page->findChild<QLabel*>(QStringLiteral("healthWarningLine"))->isVisible())
            << name;
    }
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 已停止"));
    EXPECT_FALSE(m_app->menu().actions().contains(&m_app->menu().warningLine()));
}

TEST_F(HealthWarningViewTest, TheWarningIsNotifiedUntilTheSwitchIsSavedOff) {
    std::vector<DesktopNotification> shown;
    AppViewModel model(m_controller, m_harness.environment(),
                       std::make_unique<test::RecordingNotifier>(shown));
    QSignalSpy loaded(&model, &AppViewModel::loaded);
    ASSERT_TRUE(loaded.wait(30000));
    ASSERT_TRUE(warn(model, true));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], DesktopNotification::warning(targetRefusing()));

    model.setDesktopNotifications(false);
    model.saveSettings();
    ASSERT_TRUE(waitFor([&] { return !m_harness.storedConfig().desktopNotifications; }));
    ASSERT_TRUE(warn(model, false));
    ASSERT_TRUE(warn(model, true));
    EXPECT_EQ(shown.size(), 1u);
}

// The interval is the default minute: only the exit can bring the check this early.
TEST_F(HealthWarningViewTest, TheExitOfOurForwarderRunsTheHealthCheckAtOnce) {
    QProcess forwarder;
    forwarder.start(QStringLiteral("/bin/sleep"), {QStringLiteral("600")});
    ASSERT_TRUE(forwarder.waitForStarted());
    m_controller->report(std::nullopt, static_cast<std::int32_t>(forwarder.processId()));
    auto& model = open();
    ASSERT_EQ(model.healthCheckInterval(), std::chrono::seconds(60));
    const int checksBefore = m_controller->healthChecks();

    forwarder.kill();
    EXPECT_TRUE(waitFor([&] { return m_controller->healthChecks() > checksBefore; }, 30000));
    forwarder.waitForFinished();
}

} // namespace
} // namespace velquor
