#include "VelquorApp/VelquorApp/VelquorApp.h"

#include "VelquorApp/MainWindowView/CapsuleLabel.h"
#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/MainWindowView.h"
#include "VelquorApp/MainWindowView/SettingsPage.h"
#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"
#include "VelquorApp/MainWindowView/Sidebar.h"
#include "VelquorApp/MainWindowView/StatusBadge.h"
#include "VelquorApp/MainWindowView/StatusHeroPanel.h"
#include "VelquorApp/MainWindowView/StatusMetric.h"
#include "VelquorApp/MainWindowView/StatusPage.h"
#include "VelquorApp/MenuBarView/MenuBarView.h"
#include "VelquorApp/Symbols/SymbolIcon.h"
#include "VelquorApp/VelquorApp/SingleInstance.h"
#include "VelquorApp/VelquorApp/TerminationSignals.h"
#include "tests/app/AppHarness.h"
#include "tests/app/RecordingNotifier.h"
#include "tests/app/Screenshots.h"
#include "tests/app/StatusLooks.h"
#include "tests/app/TransientStatusController.h"

#include <QLabel>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <unistd.h>

namespace velquor {
namespace {

using namespace ::testing;
using test::waitFor;

// What an icon looks like at a tray's size.
QImage drawn(const QIcon& icon) {
    return icon.pixmap(QSize(22, 22), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
}

// The menu's items in order, a separator as "—".
std::vector<std::string> menuTexts(const QMenu& menu) {
    std::vector<std::string> texts;
    for (const auto* action : menu.actions()) {
        texts.push_back(action->isSeparator() ? "—" : action->text().toStdString());
    }
    return texts;
}

HealthWarning targetRefusing() {
    HealthWarning warning;
    warning.failures = 3;
    // One moment for every call: the text names it to the second, and two calls may straddle one.
    static const auto since = std::chrono::system_clock::now() - std::chrono::minutes(5);
    warning.since = since;
    warning.findings.targetRefusing = TargetEndpoint("10.0.0.9", 3260);
    return warning;
}

// The whole application over the harness's doubles, as `qarvex` builds it.
class VelquorAppTest : public Test {
protected:
    test::AppHarness m_harness;
    std::shared_ptr<test::TransientStatusController> m_controller =
        m_harness.makeController<test::TransientStatusController>();
    std::unique_ptr<VelquorApp> m_app;

    void open() {
        m_app = std::make_unique<VelquorApp>(m_controller, m_harness.environment());
        QSignalSpy loaded(&m_app->viewModel(), &AppViewModel::loaded);
        ASSERT_TRUE(loaded.wait(30000));
        m_app->showMainWindow();
        QCoreApplication::processEvents();
    }

    AppViewModel& model() const { return m_app->viewModel(); }
    Sidebar& sidebar() const { return m_app->mainWindow().sidebar(); }

    void trigger(const char* command) {
        for (auto* action : m_app->menu().actions()) {
            if (action->text() == QString::fromUtf8(command)) {
                return action->trigger();
            }
        }
        FAIL() << "no menu item " << command;
    }

    void runCommand(const char* command, ServiceStatus expected) {
        QSignalSpy applied(&model(), &AppViewModel::serviceStatusChanged);
        trigger(command);
        ASSERT_TRUE(waitFor([&] { return !applied.isEmpty(); })) << command;
        ASSERT_TRUE(waitFor([&] { return model().serviceStatus() == expected; })) << command;
    }

    // The next check reports the warning, or none; true once the view model shows that.
    bool warn(AppViewModel& model, bool on) {
        m_controller->report(on ? std::optional(targetRefusing()) : std::nullopt, std::nullopt);
        model.checkNow();
        return waitFor([&] { return model.healthWarningText().isEmpty() != on; });
    }
};

class VelquorAppInEachState : public VelquorAppTest, public WithParamInterface<test::StatusLook> {};

TEST_P(VelquorAppInEachState, TrayMenuSidebarAndSettingsPanelShowTheStatusInTheirOwnWords) {
    const auto& expected = GetParam();
    open();
    ASSERT_TRUE(test::reachStatus(model(), m_harness, *m_controller, expected.status));
    QCoreApplication::processEvents();

    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · ") + expected.menuWord);
    const QColor color = expected.color();
    EXPECT_EQ(drawn(m_app->trayIcon().icon()),
              drawn(SymbolIcon::icon(expected.text(expected.traySymbol), color)))
        << "the tray shows the status's symbol in its colour";
    EXPECT_THAT(
        menuTexts(m_app->menu()),
        ElementsAre("Qarvex", std::string("状态：") + expected.menuWord, "监听：127.0.0.1:18082",
                    AllOf(StartsWith("转发进程："), Not(HasSubstr("socat"))), "—", "打开控制台",
                    "—", "启动转发", "停止转发", "重启转发", "立即检查", "—", "退出 Qarvex"));
    for (int line = 0; line < 4; ++line) {
        EXPECT_FALSE(m_app->menu().actions()[line]->isEnabled()) << "status lines are inactive";
    }

    EXPECT_EQ(sidebar().statusWordLabel().text(), expected.text(expected.sidebarWord));
    EXPECT_EQ(sidebar().statusWordLabel().palette().color(QPalette::WindowText), color);
    const QImage dot = sidebar().statusDotLabel().pixmap().toImage();
    EXPECT_EQ(dot.pixelColor(dot.width() / 2, dot.height() / 2).rgb(), color.rgb());

    const auto status = test::statusName(expected.status);
    const std::pair<AppSection, const char*> pages[] = {{AppSection::status, "status"},
                                                        {AppSection::settings, "settings"},
                                                        {AppSection::logs, "logs"}};
    for (const auto& [section, page] : pages) {
        model().setSelectedSection(section);
        QCoreApplication::processEvents();
        test::saveScreenshot(m_app->mainWindow(),
                             QStringLiteral("window-%1-%2.png").arg(page, status));
    }
    m_app->menu().popup(QPoint(0, 0));
    ASSERT_TRUE(waitFor([&] { return m_app->menu().isVisible(); }));
    test::saveScreenshot(m_app->menu(), QStringLiteral("tray-menu-%1.png").arg(status));
    m_app->menu().hide();

    auto* settings = m_app->mainWindow().findChild<SettingsPage*>();
    ASSERT_NE(settings, nullptr);
    auto& panel = settings->statusPanel();
    const auto textColor = [](const QWidget& widget) {
        return widget.palette().color(QPalette::WindowText);
    };
    EXPECT_EQ(panel.titleLabel().text(), expected.text(expected.sidebarWord));
    EXPECT_EQ(textColor(panel.titleLabel()), color);
    EXPECT_EQ(panel.stateBadge().text(), expected.text(expected.settingsBadge));
    EXPECT_EQ(textColor(panel.stateBadge()), color);
    EXPECT_EQ(panel.stateBadge().capsuleColor(),
              Theme::withOpacity(color, SettingsStatusPanel::stateBadgeOpacity));
    EXPECT_EQ(panel.outlineColor(), Theme::withOpacity(color, SettingsStatusPanel::outlineOpacity));
    EXPECT_EQ(panel.badge().symbol(), expected.text(expected.symbol));
    EXPECT_EQ(panel.badge().color(), color);
    EXPECT_EQ(panel.explanationLabel().text(), expected.text(expected.settingsExplanation));
    for (auto* button : {&panel.checkButton(), &panel.startButton(), &panel.stopButton(),
                         &settings->resetButton(), &settings->saveButton()}) {
        EXPECT_TRUE(button->isEnabled()) << button->text().toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(, VelquorAppInEachState, ValuesIn(test::statusLooks), test::lookName);

TEST_F(VelquorAppTest, TheWindowIsQarvexAtLeast980By680AndFollowsTheSidebar) {
    open();
    auto& window = m_app->mainWindow();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Qarvex"));
    EXPECT_EQ(window.minimumSize(), QSize(980, 680));
    EXPECT_TRUE(window.isVisible());
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        EXPECT_TRUE(waitFor([&] {
            return m_harness.logText().find("No system tray is available") != std::string::npos;
        })) << "without a tray the log says how to get the window back";
    }

    QStringList sections;
    for (int row = 0; row < sidebar().sectionList().count(); ++row) {
        sections << sidebar().sectionList().item(row)->text();
    }
    EXPECT_EQ(sections, (QStringList{QStringLiteral("状态总览"), QStringLiteral("转发设置"),
                                     QStringLiteral("运行日志")}));
    sidebar().sectionList().setCurrentRow(2);
    EXPECT_EQ(model().selectedSection(), AppSection::logs);
    model().setSelectedSection(AppSection::settings);
    EXPECT_EQ(sidebar().sectionList().currentRow(), 1) << "the highlight follows the model";
    model().setSelectedSection(AppSection::status);
    EXPECT_NE(qobject_cast<StatusPage*>(window.currentPage()), nullptr);
}

TEST_F(VelquorAppTest, TheTrayMenuRunsTheServiceWhileTheWindowIsClosedAndQuittingStopsIt) {
    open();
    m_app->mainWindow().close();
    QCoreApplication::processEvents();
    ASSERT_FALSE(m_app->mainWindow().isVisible());

    runCommand("启动转发", ServiceStatus::running);
    EXPECT_THAT(m_app->menu().processLine().text().toStdString(),
                StartsWith("转发进程：App 启动的转发进程"));
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 运行中"));
    runCommand("重启转发", ServiceStatus::running);
    runCommand("立即检查", ServiceStatus::running);
    EXPECT_THAT(m_harness.logText(), HasSubstr("Resolved target: "));
    runCommand("停止转发", ServiceStatus::stopped);
    EXPECT_TRUE(m_harness.machine.socatPids().empty());

    m_app->mainWindow().showMinimized();
    trigger("打开控制台");
    EXPECT_TRUE(m_app->mainWindow().isVisible());
    EXPECT_FALSE(m_app->mainWindow().isMinimized());
    m_app->mainWindow().close();
    trigger("打开控制台");
    EXPECT_TRUE(m_app->mainWindow().isVisible()) << "a closed window comes back";

    // Both quit commands stop the service first.
    runCommand("启动转发", ServiceStatus::running);
    QSignalSpy quitting(&model(), &AppViewModel::quitting);
    trigger("退出 Qarvex");
    EXPECT_FALSE(model().isHealthMonitorRunning());
    ASSERT_TRUE(waitFor([&] { return !quitting.isEmpty(); }));
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
    EXPECT_THAT(m_harness.logText(), HasSubstr("socat stopped [PID=4242]"));

    runCommand("启动转发", ServiceStatus::running);
    auto* quit = sidebar().findChild<QPushButton*>(QStringLiteral("quitButton"));
    ASSERT_NE(quit, nullptr);
    EXPECT_EQ(quit->text(), QStringLiteral("退出程序"));
    quit->click();
    ASSERT_TRUE(waitFor([&] { return quitting.size() == 2; }));
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
}

// A hand edit loaded by a health check under unsaved settings: every view shows the address in
// use, and saving keeps the hand edit wherever the user changed nothing.
TEST_F(VelquorAppTest, AHandEditLoadedUnderUnsavedSettingsIsShownAndNotSavedOver) {
    m_harness.writeConfig([](auto& c) { c.checkIntervalSeconds = 5; });
    open();
    runCommand("启动转发", ServiceStatus::running);
    model().setSelectedSection(AppSection::settings);
    const auto url = QStringLiteral("http://other.invalid/port");
    model().setDiscoveryURLText(url);
    model().markSettingsEdited();
    model().setFailureThreshold(7);
    m_harness.writeConfig([](auto& c) {
        c.listenPort = 20000;
        c.failureThreshold = c.logRetentionDays = 9;
    });
    ASSERT_TRUE(waitFor([&] { return model().configInUse().listenPort == 20000; }));
    auto* settings = m_app->mainWindow().findChild<SettingsPage*>();
    const auto inUse = QStringLiteral("127.0.0.1:20000");
    EXPECT_EQ(m_app->menu().actions()[2]->text(), QStringLiteral("监听：") + inUse);
    EXPECT_EQ(sidebar().listenAddressLabel().text(), inUse);
    EXPECT_EQ(settings->statusPanel().listenAddressLabel().text(), inUse);
    EXPECT_EQ(m_app->mainWindow().findChild<StatusPage*>()->hero().routeLabel().text(),
              inUse + QStringLiteral("  ->  10.0.0.5:3260"));
    EXPECT_EQ(model().settingsFeedbackText(),
              QStringLiteral("配置文件已在外部修改，未改动的设置已随之更新。"));
    test::saveScreenshot(m_app->mainWindow(), QStringLiteral("window-settings-hand-edit.png"));

    settings->saveButton().click();
    ASSERT_TRUE(waitFor([&] { return model().configInUse().failureThreshold == 7; }));
    const auto stored = m_harness.storedConfig();
    EXPECT_EQ(stored.discoveryURL.text, url.toStdString());
    EXPECT_EQ(std::pair(stored.listenPort, stored.logRetentionDays), std::pair(20000L, 9L));
    EXPECT_TRUE(m_harness.machine.isListening(20000));
}

TEST_F(VelquorAppTest, AWarningIsOnBothPagesInTheTrayAndGoesWithIt) {
    open();
    auto& viewModel = model();
    ASSERT_TRUE(warn(viewModel, true));
    EXPECT_NE(viewModel.healthWarningText().indexOf(QStringLiteral("10.0.0.9:3260")), -1);
    const auto line = HealthWarningLine::lineText(viewModel.healthWarningText());

    StatusPage status(viewModel);
    SettingsPage settings(viewModel);
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

    ASSERT_TRUE(warn(viewModel, false));
    for (const auto& [page, name] : pages) {
        EXPECT_FALSE(page->findChild<QLabel*>(QStringLiteral("healthWarningLine"))->isVisible())
            << name;
    }
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 已停止"));
    EXPECT_FALSE(m_app->menu().actions().contains(&m_app->menu().warningLine()));
}

TEST_F(VelquorAppTest, TheWarningIsNotifiedUntilTheSwitchIsSavedOff) {
    std::vector<DesktopNotification> shown;
    auto& model = m_harness.start(m_controller, std::make_unique<test::RecordingNotifier>(shown));
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

// The interval is the default minute: only an exit brings a check this early. Each forwarder
// the checks start then ends before the view model sees it: they back off instead of spinning.
TEST_F(VelquorAppTest, TheExitOfOurForwarderRunsTheHealthCheckAtOnceAndThenBacksOff) {
    QProcess forwarder;
    forwarder.start(QStringLiteral("/bin/sleep"), {QStringLiteral("600")});
    ASSERT_TRUE(forwarder.waitForStarted());
    const auto pid = static_cast<std::int32_t>(forwarder.processId());
    m_controller->report(std::nullopt, pid);
    open();
    m_controller->reportVanished();
    forwarder.kill();
    const auto logged = [&](const std::string& step) {
        return m_harness.logText().find("exited unexpectedly " + step) != std::string::npos;
    };
    for (const auto* step :
         {"2 times in a row; next check in 0.2 s", "3 times in a row; next check in 1 s",
          "4 times in a row; next check in 5 s"}) {
        ASSERT_TRUE(waitFor([&] { return logged(step); }, 15000)) << step;
    }
    EXPECT_NE(m_harness.logText().find(
                  "Health check early: forwarder exited [PID=" + std::to_string(pid) + "]"),
              std::string::npos);
    EXPECT_EQ(m_controller->healthChecks(), 3) << "one check after each exit";
    EXPECT_FALSE(waitFor([&] { return m_controller->healthChecks() > 3; }, 3000))
        << "the back-off said 5 s";
}

TEST(SingleInstanceTest, ALaterLaunchDefersToTheFirstAndOneThatCannotListenStillRuns) {
    const auto serverName = QStringLiteral("velquor-test-%1").arg(::getpid());
    {
        SingleInstance first(serverName);
        ASSERT_TRUE(first.claim());
        QSignalSpy activation(&first, &SingleInstance::activationRequested);
        // The later launch is another process in real life; a thread keeps this one's loop free
        // to answer it.
        auto second =
            std::async(std::launch::async, [&] { return SingleInstance(serverName).claim(); });
        ASSERT_TRUE(activation.wait(30000));
        ASSERT_TRUE(waitFor(
            [&] { return second.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        EXPECT_FALSE(second.get()) << "it stepped aside";
    }
    SingleInstance next(serverName);
    EXPECT_TRUE(next.claim());
    EXPECT_EQ(next.listenError(), QString());

    SingleInstance instance(QStringLiteral("/nonexistent-folder/velquor-test"));
    EXPECT_TRUE(instance.claim()) << "not taken for another instance";
    EXPECT_FALSE(instance.listenError().isEmpty());
}

TEST(TerminationSignalsTest, EachSignalArrivesOnTheMainThreadInsteadOfEndingTheProcess) {
    TerminationSignals termination;
    QSignalSpy received(&termination, &TerminationSignals::received);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ASSERT_EQ(::raise(number), 0);
        ASSERT_TRUE(received.wait(30000)) << number;
        EXPECT_EQ(received.takeFirst().at(0).toInt(), number);
    }
}

} // namespace
} // namespace velquor
