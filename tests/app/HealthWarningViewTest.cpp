#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/SettingsPage.h"
#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"
#include "VelquorApp/MainWindowView/StatusMetric.h"
#include "VelquorApp/MainWindowView/StatusPage.h"
#include "VelquorApp/MenuBarView/MenuBarView.h"
#include "VelquorApp/VelquorApp/VelquorApp.h"
#include "tests/app/AppHarness.h"
#include "tests/app/RecordingNotifier.h"
#include "tests/app/Screenshots.h"

#include <QProcess>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace velquor {
namespace {

using test::waitFor;

// A real controller over the harness's doubles whose snapshots carry what the test sets: a
// health warning, or a forwarder process of ours. Counts the health checks the view model asks
// for.
class ReportingController : public ServiceController {
public:
    static std::shared_ptr<ReportingController> over(test::AppHarness& harness) {
        return std::make_shared<ReportingController>(
            ConfigStore(harness.configFile), LogManager(harness.logFile),
            std::make_unique<test::ScriptedResolver>(harness.discovery),
            test::makeFakeSocatManager(harness.machine));
    }
    using ServiceController::ServiceController;

    // The warning comes with the change that raised it.
    void report(std::optional<HealthWarning> warning, std::optional<std::int32_t> process) {
        const std::lock_guard lock(m_mutex);
        m_warning = std::move(warning);
        m_process = process;
        if (m_warning) {
            m_change = HealthTrend::Change{HealthTrend::Change::Kind::warning,
                                           "WARNING: ", m_warning->failures};
        }
    }
    int healthChecks() const { return m_healthChecks; }

    ServiceSnapshot load(bool startIfConfigured) override {
        return edited(ServiceController::load(startIfConfigured));
    }
    ServiceSnapshot refreshRuntimeStatus() override {
        return edited(ServiceController::refreshRuntimeStatus());
    }
    ServiceSnapshot healthCheck() override {
        ++m_healthChecks;
        return edited(ServiceController::healthCheck());
    }
    ServiceSnapshot checkNow() override { return edited(ServiceController::checkNow()); }

private:
    ServiceSnapshot edited(ServiceSnapshot snapshot) {
        const std::lock_guard lock(m_mutex);
        snapshot.healthWarning = m_warning;
        snapshot.healthChange = std::exchange(m_change, std::nullopt);
        if (m_process) {
            snapshot.processIdentifier = m_process;
            snapshot.socatRuntimeStatus = SocatRuntimeStatus::trackedSocat(*m_process);
        }
        return snapshot;
    }

    mutable std::mutex m_mutex;
    std::optional<HealthWarning> m_warning;
    std::optional<std::int32_t> m_process;
    std::optional<HealthTrend::Change> m_change;
    std::atomic<int> m_healthChecks{0};
};

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
    std::shared_ptr<ReportingController> m_controller = ReportingController::over(m_harness);
    std::unique_ptr<VelquorApp> m_app;

    AppViewModel& open() {
        m_app = std::make_unique<VelquorApp>(m_controller, m_harness.environment());
        QSignalSpy loaded(&m_app->viewModel(), &AppViewModel::loaded);
        EXPECT_TRUE(loaded.wait(30000));
        return m_app->viewModel();
    }
};

TEST_F(HealthWarningViewTest, AWarningIsOnBothPagesInTheTrayAndGoesWithIt) {
    auto& model = open();
    m_controller->report(targetRefusing(), std::nullopt);
    model.checkNow();
    ASSERT_TRUE(waitFor([&] { return !model.healthWarningText().isEmpty(); }));
    EXPECT_NE(model.healthWarningText().indexOf(QStringLiteral("10.0.0.9:3260")), -1);
    const auto line = HealthWarningLine::lineText(model.healthWarningText());

    QWidget host;
    host.resize(760, 900);
    auto* status = new StatusPage(model, &host);
    status->resize(760, 900);
    host.show();
    QCoreApplication::processEvents();
    auto* statusLine = status->findChild<QLabel*>(QStringLiteral("healthWarningLine"));
    ASSERT_NE(statusLine, nullptr);
    EXPECT_TRUE(statusLine->isVisible());
    EXPECT_EQ(statusLine->text(), line);
    test::saveScreenshot(host, QStringLiteral("status-page-health-warning.png"));
    delete status;

    auto* settings = new SettingsPage(model, &host);
    settings->resize(760, 900);
    settings->show();
    QCoreApplication::processEvents();
    auto* panelLine =
        settings->statusPanel().findChild<QLabel*>(QStringLiteral("healthWarningLine"));
    ASSERT_NE(panelLine, nullptr);
    EXPECT_TRUE(panelLine->isVisible());
    EXPECT_TRUE(settings->statusPanel().lastErrorMetric().isVisible())
        << "the warning is beside the last error, not in its place";
    test::saveScreenshot(host, QStringLiteral("settings-page-health-warning.png"));

    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 已停止\n") + line);
    EXPECT_TRUE(m_app->menu().actions().contains(&m_app->menu().warningLine()));
    EXPECT_FALSE(m_app->menu().warningLine().isEnabled());
    EXPECT_EQ(m_app->menu().warningLine().text(), line);
    m_app->menu().popup(QPoint(0, 0));
    ASSERT_TRUE(waitFor([&] { return m_app->menu().isVisible(); }));
    test::saveScreenshot(m_app->menu(), QStringLiteral("tray-menu-health-warning.png"));
    m_app->menu().hide();

    m_controller->report(std::nullopt, std::nullopt);
    model.checkNow();
    ASSERT_TRUE(waitFor([&] { return model.healthWarningText().isEmpty(); }));
    EXPECT_FALSE(panelLine->isVisible());
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 已停止"));
    EXPECT_FALSE(m_app->menu().actions().contains(&m_app->menu().warningLine()));
}

TEST_F(HealthWarningViewTest, TheWarningIsNotifiedUntilTheSwitchIsSavedOff) {
    std::vector<DesktopNotification> shown;
    AppViewModel model(m_controller, m_harness.environment(),
                       std::make_unique<test::RecordingNotifier>(shown));
    QSignalSpy loaded(&model, &AppViewModel::loaded);
    ASSERT_TRUE(loaded.wait(30000));
    const auto raise = [&] {
        m_controller->report(targetRefusing(), std::nullopt);
        model.checkNow();
        return waitFor([&] { return !model.healthWarningText().isEmpty(); });
    };
    ASSERT_TRUE(raise());
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], DesktopNotification::warning(targetRefusing()));

    model.setDesktopNotifications(false);
    model.saveSettings();
    ASSERT_TRUE(waitFor([&] { return !m_harness.storedConfig().desktopNotifications; }));
    m_controller->report(std::nullopt, std::nullopt);
    model.checkNow();
    ASSERT_TRUE(waitFor([&] { return model.healthWarningText().isEmpty(); }));
    ASSERT_TRUE(raise());
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
