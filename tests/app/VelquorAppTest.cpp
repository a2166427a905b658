#include "VelquorApp/VelquorApp/VelquorApp.h"

#include "VelquorApp/MainWindowView/LogsPage.h"
#include "VelquorApp/MainWindowView/MainWindowView.h"
#include "VelquorApp/MainWindowView/Sidebar.h"
#include "VelquorApp/MainWindowView/StatusPage.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/MenuBarView/MenuBarView.h"
#include "VelquorApp/Symbols/SymbolIcon.h"
#include "VelquorApp/VelquorApp/SingleInstance.h"
#include "tests/app/AppHarness.h"
#include "tests/app/Screenshots.h"
#include "tests/app/StatusLooks.h"
#include "tests/app/TransientStatusController.h"

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <unistd.h>

namespace velquor {
namespace {

using test::waitFor;

// What an icon looks like at a tray's size.
QImage drawn(const QIcon& icon) {
    return icon.pixmap(QSize(22, 22), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
}

QStringList menuTexts(const QMenu& menu) {
    QStringList texts;
    for (const auto* action : menu.actions()) {
        texts << (action->isSeparator() ? QStringLiteral("—") : action->text());
    }
    return texts;
}

QAction& menuCommand(const QMenu& menu, const QString& text) {
    for (auto* action : menu.actions()) {
        if (action->text() == text) {
            return *action;
        }
    }
    throw std::runtime_error("no menu item " + text.toStdString());
}

// The whole application over the harness's doubles, as `qarvex` builds it.
class VelquorAppTest : public ::testing::Test {
protected:
    test::AppHarness m_harness;
    std::shared_ptr<test::TransientStatusController> m_controller =
        test::TransientStatusController::over(m_harness);
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

    void runCommand(const QString& text, ServiceStatus expected) {
        QSignalSpy applied(&model(), &AppViewModel::serviceStatusChanged);
        menuCommand(m_app->menu(), text).trigger();
        ASSERT_TRUE(waitFor([&] { return !applied.isEmpty(); })) << text.toStdString();
        ASSERT_TRUE(waitFor([&] { return model().serviceStatus() == expected; }))
            << text.toStdString();
    }
};

class VelquorAppInEachState : public VelquorAppTest,
                              public ::testing::WithParamInterface<test::StatusLook> {};

TEST_P(VelquorAppInEachState, TrayMenuAndSidebarShowTheStatusInTheirOwnWords) {
    const auto& expected = GetParam();
    open();
    ASSERT_TRUE(test::reachStatus(model(), m_harness, *m_controller, expected.status));
    QCoreApplication::processEvents();

    const auto menuWord = expected.text(expected.menuWord);
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · ") + menuWord);
    const QColor color = expected.color();
    EXPECT_EQ(drawn(m_app->trayIcon().icon()),
              drawn(SymbolIcon::icon(expected.text(expected.traySymbol), color)))
        << "the tray shows the status's symbol in its colour";
    const auto texts = menuTexts(m_app->menu());
    ASSERT_EQ(texts.size(), 13);
    EXPECT_EQ(texts.mid(0, 3),
              (QStringList{QStringLiteral("Qarvex"), QStringLiteral("状态：") + menuWord,
                           QStringLiteral("监听：127.0.0.1:18082")}));
    EXPECT_THAT(texts[3].toStdString(), ::testing::StartsWith("转发进程："));
    EXPECT_THAT(texts[3].toStdString(), ::testing::Not(::testing::HasSubstr("socat")));
    for (int line = 0; line < 4; ++line) {
        EXPECT_FALSE(m_app->menu().actions()[line]->isEnabled()) << "status lines are inactive";
    }

    EXPECT_EQ(sidebar().statusWordLabel().text(), expected.text(expected.sidebarWord));
    EXPECT_EQ(sidebar().statusWordLabel().palette().color(QPalette::WindowText), color);
    const QImage dot = sidebar().statusDotLabel().pixmap().toImage();
    EXPECT_EQ(dot.pixelColor(dot.width() / 2, dot.height() / 2).rgb(), color.rgb());
    EXPECT_EQ(sidebar().listenAddressLabel().text(), QStringLiteral("127.0.0.1:18082"));

    const std::pair<AppSection, const char*> pages[] = {{AppSection::status, "status"},
                                                        {AppSection::settings, "settings"},
                                                        {AppSection::logs, "logs"}};
    for (const auto& [section, page] : pages) {
        model().setSelectedSection(section);
        QCoreApplication::processEvents();
        if (const auto* logs = qobject_cast<LogsPage*>(m_app->mainWindow().currentPage())) {
            EXPECT_EQ(logs->logArea().toPlainText(), model().logPreview()) << "the log follows";
        }
        test::saveScreenshot(
            m_app->mainWindow(),
            QStringLiteral("window-%1-%2.png").arg(page, test::statusName(expected.status)));
    }
}

INSTANTIATE_TEST_SUITE_P(, VelquorAppInEachState, ::testing::ValuesIn(test::statusLooks),
                         test::lookName);

TEST_F(VelquorAppTest, TheWindowIsQarvexAtLeast980By680AndFollowsTheSidebar) {
    open();
    auto& window = m_app->mainWindow();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Qarvex"));
    EXPECT_EQ(window.minimumSize(), QSize(980, 680));
    EXPECT_TRUE(window.isVisible());

    EXPECT_EQ(sidebar().sectionList().count(), 3);
    sidebar().sectionList().setCurrentRow(2);
    EXPECT_EQ(model().selectedSection(), AppSection::logs);
    model().setSelectedSection(AppSection::settings);
    EXPECT_EQ(sidebar().sectionList().currentRow(), 1) << "the highlight follows the model";
    model().setSelectedSection(AppSection::status);
    EXPECT_NE(qobject_cast<StatusPage*>(window.currentPage()), nullptr);
}

TEST_F(VelquorAppTest, TheTrayMenuRunsTheServiceWhileTheWindowIsClosed) {
    open();
    m_app->mainWindow().close();
    QCoreApplication::processEvents();
    ASSERT_FALSE(m_app->mainWindow().isVisible());

    runCommand(QStringLiteral("启动转发"), ServiceStatus::running);
    EXPECT_THAT(menuTexts(m_app->menu())[3].toStdString(),
                ::testing::StartsWith("转发进程：App 启动的转发进程"));
    EXPECT_EQ(m_app->trayIcon().toolTip(), QStringLiteral("Qarvex · 运行中"));
    runCommand(QStringLiteral("重启转发"), ServiceStatus::running);
    runCommand(QStringLiteral("立即检查"), ServiceStatus::running);
    EXPECT_THAT(m_harness.logText(), ::testing::HasSubstr("Resolved target: "));
    runCommand(QStringLiteral("停止转发"), ServiceStatus::stopped);
    EXPECT_TRUE(m_harness.machine.socatPids().empty());

    m_app->mainWindow().showMinimized();
    menuCommand(m_app->menu(), QStringLiteral("打开控制台")).trigger();
    EXPECT_TRUE(m_app->mainWindow().isVisible());
    EXPECT_FALSE(m_app->mainWindow().isMinimized());
    m_app->mainWindow().close();
    menuCommand(m_app->menu(), QStringLiteral("打开控制台")).trigger();
    EXPECT_TRUE(m_app->mainWindow().isVisible()) << "a closed window comes back";
}

TEST_F(VelquorAppTest, BothQuitCommandsStopTheServiceFirst) {
    open();
    runCommand(QStringLiteral("启动转发"), ServiceStatus::running);
    QSignalSpy quitting(&model(), &AppViewModel::quitting);
    menuCommand(m_app->menu(), QStringLiteral("退出 Qarvex")).trigger();
    EXPECT_FALSE(model().isHealthMonitorRunning());
    ASSERT_TRUE(waitFor([&] { return !quitting.isEmpty(); }));
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
    EXPECT_THAT(m_harness.logText(), ::testing::HasSubstr("socat stopped [PID=4242]"));

    runCommand(QStringLiteral("启动转发"), ServiceStatus::running);
    auto* quit = sidebar().findChild<QPushButton*>(QStringLiteral("quitButton"));
    ASSERT_NE(quit, nullptr);
    EXPECT_EQ(quit->text(), QStringLiteral("退出程序"));
    quit->click();
    ASSERT_TRUE(waitFor([&] { return quitting.size() == 2; }));
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
}

TEST_F(VelquorAppTest, WithoutATrayTheLogSaysHowToGetTheWindowBack) {
    open();
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        GTEST_SKIP() << "this platform has a system tray";
    }
    EXPECT_TRUE(waitFor([&] {
        return m_harness.logText().find("No system tray is available") != std::string::npos;
    }));
}

TEST_F(VelquorAppTest, TheTrayMenuAsDrawn) {
    open();
    ASSERT_TRUE(test::reachStatus(model(), m_harness, *m_controller, ServiceStatus::running));
    auto& menu = m_app->menu();
    menu.popup(QPoint(0, 0));
    ASSERT_TRUE(waitFor([&] { return menu.isVisible(); }));
    const QImage image = test::saveScreenshot(menu, QStringLiteral("tray-menu-running.png"));
    EXPECT_GT(image.width(), 150);
    menu.hide();
}

QString uniqueServerName() {
    static int counter = 0;
    return QStringLiteral("velquor-test-%1-%2").arg(::getpid()).arg(++counter);
}

TEST(SingleInstanceTest, ALaterLaunchAsksTheFirstToShowItselfAndStepsAside) {
    const QString serverName = uniqueServerName();
    SingleInstance first(serverName);
    ASSERT_TRUE(first.claim());
    QSignalSpy activation(&first, &SingleInstance::activationRequested);

    // The later launch is another process in real life; a thread keeps this one's loop free to
    // answer it.
    auto second = std::async(std::launch::async, [&] {
        SingleInstance later(serverName);
        return later.claim();
    });
    ASSERT_TRUE(activation.wait(30000));
    ASSERT_TRUE(waitFor(
        [&] { return second.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_FALSE(second.get());
}

TEST(SingleInstanceTest, ALaunchAfterTheFirstEndedTakesOver) {
    const QString serverName = uniqueServerName();
    {
        SingleInstance first(serverName);
        ASSERT_TRUE(first.claim());
    }
    SingleInstance next(serverName);
    EXPECT_TRUE(next.claim());
    EXPECT_EQ(next.listenError(), QString());
}

TEST(SingleInstanceTest, WhereItCannotListenItStillRunsAndSaysWhy) {
    SingleInstance instance(QStringLiteral("/nonexistent-folder/velquor-test"));
    EXPECT_TRUE(instance.claim()) << "not taken for another instance";
    EXPECT_FALSE(instance.listenError().isEmpty());
}

} // namespace
} // namespace velquor
