#include "VelquorApp/MainWindowView/SettingsPage.h"

#include "VelquorApp/MainWindowView/LineLimitedLabel.h"
#include "VelquorApp/MainWindowView/LocaleIntegerField.h"
#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"
#include "VelquorApp/MainWindowView/StatusMetric.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/MainWindowView/ToggleSwitch.h"
#include "tests/app/PageFixture.h"
#include "tests/app/Screenshots.h"

#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace velquor {
namespace {

using test::waitFor;

QColor textColor(const QWidget& widget) {
    return widget.palette().color(QPalette::WindowText);
}

const QString initialFeedback = QStringLiteral("修改配置后请点击保存设置。");
const QString savedWhileStopped =
    QStringLiteral("设置已保存。启动状态变更请使用上方启动/停止按钮。");
const QString portRefused = QStringLiteral("本地监听端口无效，请输入 1024 到 65535 之间的数字。");
const QRegularExpression clockTime(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d$"));

// A layout request climbs one widget per pass of the event queue, so a size change deep in the
// page needs several passes before the page shows it.
void settle() {
    for (int pass = 0; pass < 12; ++pass) {
        QCoreApplication::processEvents();
    }
}

// The page as the main window shows it: inset by 24 points in a detail column of a window at
// its smallest width, tall enough to show the whole page.
class SettingsPageTest : public test::PageFixture<SettingsPage> {
protected:
    // Number fields read and write the default locale, which a test may set.
    ~SettingsPageTest() override { QLocale::setDefault(m_locale); }
    QLocale m_locale;

    void open(bool shown = true) {
        build(QSize(750, 900));
        if (shown) {
            m_host->show();
            m_host->activateWindow();
            ASSERT_TRUE(QTest::qWaitForWindowActive(m_host.get(), 30000));
        }
        settle();
    }

    void reach(ServiceStatus status) {
        ASSERT_TRUE(test::reachStatus(*m_model, m_harness, *m_controller, status));
        settle();
    }

    SettingsStatusPanel& panel() const { return m_page->statusPanel(); }

    // Replaces the field's text as a user would: select all, then type.
    static void type(QLineEdit& field, const QString& text) {
        field.setFocus();
        field.selectAll();
        QTest::keyClicks(&field, text);
    }
};

TEST_F(SettingsPageTest, TheCommandButtonsRunTheServiceAndTheMetricsFollow) {
    open();
    EXPECT_EQ(panel().pidMetric().value(), QStringLiteral("无"));
    EXPECT_EQ(panel().lastCheckMetric().value(), QStringLiteral("尚未检查"));

    QTest::mouseClick(&panel().startButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == ServiceStatus::running; }));
    ASSERT_EQ(m_harness.machine.socatPids().size(), 1u);
    const auto pid = QString::number(m_harness.machine.socatPids().front());
    EXPECT_EQ(panel().pidMetric().value(), pid);
    EXPECT_EQ(panel().processMetric().value(),
              QStringLiteral("App 启动的转发进程 [PID=%1]").arg(pid));
    EXPECT_TRUE(panel().processMetric().isValueMonospaced());

    const auto requests = m_harness.discovery.requests;
    QTest::mouseClick(&panel().checkButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return m_harness.discovery.requests > requests; }));
    ASSERT_TRUE(waitFor([&] {
        return clockTime.match(panel().lastCheckMetric().value()).hasMatch();
    })) << panel().lastCheckMetric().value().toStdString();

    QTest::mouseClick(&panel().stopButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == ServiceStatus::stopped; }));
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
    EXPECT_EQ(panel().pidMetric().value(), QStringLiteral("无"));
}

TEST_F(SettingsPageTest, AFailureShowsItsErrorInAtMostTwoLines) {
    open();
    reach(ServiceStatus::failed);
    const auto& error = panel().lastErrorMetric();
    EXPECT_EQ(error.value(), m_model->lastErrorText());
    EXPECT_THAT(error.value().toStdString(), ::testing::HasSubstr("portOccupiedByUnknownProcess"));
    EXPECT_EQ(panel().processMetric().value(), m_model->socatRuntimeText()) << "no socat named";

    // A narrow window: the error must be cut, not spill over the panel's edge.
    m_host->resize(520, 900);
    settle();
    test::saveScreenshot(*m_host, QStringLiteral("settings-page-failed-narrow.png"));
    const auto& label = error.valueLabel();
    const auto shown = label.text().split(QLatin1Char('\n'));
    EXPECT_LE(shown.size(), StatusMetric::maximumValueLines);
    EXPECT_TRUE(label.isElided());
    EXPECT_TRUE(shown.back().endsWith(QChar(0x2026))) << label.text().toStdString();
    EXPECT_EQ(label.toolTip(), error.value());
    const QFontMetrics metrics(label.font());
    for (const auto& line : shown) {
        EXPECT_LE(metrics.horizontalAdvance(line), label.contentsRect().width())
            << line.toStdString();
    }
}

// Typing keeps the cursor where the user put it; a refused save keeps the text and says why in
// red; Return saves only from the discovery field, and then the whole draft, with the number
// shown as it was read.
TEST_F(SettingsPageTest, ARefusedSaveIsRedAndReturnInTheDiscoveryFieldSavesTheWholeDraft) {
    open();
    auto& port = m_page->listenPortField();
    port.setFocus();
    port.setCursorPosition(2);
    QTest::keyClick(&port, Qt::Key_9);
    EXPECT_EQ(m_model->listenPortText(), QStringLiteral("189082"));
    EXPECT_EQ(port.cursorPosition(), 3);
    EXPECT_EQ(m_page->feedbackLabel().fullText(), initialFeedback);
    EXPECT_EQ(m_page->feedbackSymbolName(), QStringLiteral("checkmark.circle.fill"));
    type(port, QStringLiteral("abc"));
    QTest::mouseClick(&m_page->saveButton(), Qt::LeftButton);
    EXPECT_EQ(m_page->feedbackLabel().fullText(), portRefused);
    EXPECT_EQ(m_page->feedbackSymbolName(), QStringLiteral("exclamationmark.triangle.fill"));
    EXPECT_EQ(textColor(m_page->feedbackLabel()), Theme::red());
    EXPECT_EQ(port.text(), QStringLiteral("abc")) << "the text is kept";
    test::saveScreenshot(*m_host, QStringLiteral("settings-page-refused.png"));

    type(m_page->listenHostField(), QStringLiteral("0.0.0.0"));
    EXPECT_EQ(m_model->config().listenHost, "0.0.0.0");
    type(m_page->checkIntervalField(), QStringLiteral("90"));
    type(port, QStringLiteral(" +20000 "));
    const auto unsaved = m_model->settingsFeedbackText();
    QTest::keyClick(&m_page->checkIntervalField(), Qt::Key_Return);
    QTest::keyClick(&port, Qt::Key_Return);
    EXPECT_EQ(m_model->settingsFeedbackText(), unsaved) << "saving begins synchronously";
    const auto url = QStringLiteral("https://discovery.example:8443/port");
    type(m_page->discoveryURLField(), url);
    EXPECT_EQ(m_model->discoveryURLText(), url);
    QTest::keyClick(&m_page->discoveryURLField(), Qt::Key_Return);
    EXPECT_EQ(m_model->settingsFeedbackText(), QStringLiteral("正在保存设置..."));
    EXPECT_EQ(port.text(), QStringLiteral("20000"));
    ASSERT_TRUE(waitFor([&] { return m_model->settingsFeedbackText() == savedWhileStopped; }));
    EXPECT_EQ(m_page->feedbackLabel().fullText(), savedWhileStopped);
    EXPECT_EQ(m_page->feedbackSymbolName(), QStringLiteral("checkmark.circle.fill"));
    EXPECT_EQ(textColor(m_page->feedbackLabel()), Theme::secondaryColor());
    const auto stored = m_harness.storedConfig();
    EXPECT_EQ(stored.discoveryURL.text, url.toStdString());
    EXPECT_EQ(stored.listenPort, 20000);
    EXPECT_EQ(stored.checkIntervalSeconds, 90);
    EXPECT_EQ(stored.listenHost, "0.0.0.0");
}

TEST_F(SettingsPageTest, NumberFieldsTakeOnlyTextThatReadsAsANumberInTheUsersLocale) {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    m_harness.writeConfig([](auto& config) { config.checkIntervalSeconds = 1500; });
    open();
    auto& interval = m_page->checkIntervalField();
    EXPECT_EQ(interval.text(), QStringLiteral("1,500")) << "shown with digit grouping";

    type(interval, QStringLiteral("abc"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 1500);
    type(interval, QStringLiteral("12a"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 12) << "until the letter, it read as 12";
    EXPECT_EQ(interval.text(), QStringLiteral("12a")) << "typing is not undone";
    QTest::keyClick(&interval, Qt::Key_Return);
    EXPECT_EQ(interval.text(), QStringLiteral("12")) << "finishing shows the value";

    type(interval, QStringLiteral("1,234"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 1234);
    type(interval, QStringLiteral("2345"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 2345);
    EXPECT_EQ(interval.text(), QStringLiteral("2345")) << "not reformatted under the cursor";
    type(m_page->failureThresholdField(), QStringLiteral("7"));
    type(m_page->logRetentionDaysField(), QStringLiteral("14"));
    EXPECT_EQ(m_model->config().failureThreshold, 7);
    EXPECT_EQ(m_model->config().logRetentionDays, 14);
    EXPECT_EQ(interval.text(), QStringLiteral("2,345"))
        << "leaving the field shows its value in the locale's form";

    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    type(interval, QStringLiteral("1.234"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 1234);
    QTest::keyClicks(&interval, QStringLiteral(",5"));
    EXPECT_EQ(m_model->config().checkIntervalSeconds, 1234) << "a fraction is no whole number";
}

// Restoring defaults changes the texts; while the page is shown, a later snapshot must not
// bring back the stored ones, or the defaults would vanish before the user could save them. A
// hidden page reports no edits, so there the snapshot replaces them, as it does without a page.
TEST_F(SettingsPageTest, TextsTheViewModelChangesCountAsEditsOnlyWhileThePageIsShown) {
    for (const bool shown : {true, false}) {
        SCOPED_TRACE(shown);
        m_harness.writeConfig([](auto& config) {
            config.listenHost = "127.0.0.2";
            config.listenPort = 20000;
            config.checkIntervalSeconds = 30;
        });
        open(shown);
        ASSERT_EQ(m_page->listenPortField().text(), QStringLiteral("20000"));
        EXPECT_EQ(m_page->listenHostField().text(), QStringLiteral("127.0.0.2"));

        m_page->resetButton().click();
        EXPECT_EQ(m_page->listenPortField().text(), QStringLiteral("18082"));
        EXPECT_EQ(m_model->config().checkIntervalSeconds, 60);
        EXPECT_EQ(m_page->feedbackLabel().fullText(),
                  QStringLiteral("已恢复默认值，点击保存设置后生效。"));
        settle();
        QSignalSpy applied(m_model, &AppViewModel::serviceStatusChanged);
        m_model->stopService();
        ASSERT_TRUE(waitFor([&] { return !applied.isEmpty(); }));
        EXPECT_EQ(m_page->listenPortField().text(),
                  shown ? QStringLiteral("18082") : QStringLiteral("20000"));
        EXPECT_EQ(m_model->listenPortText(), m_page->listenPortField().text());
        EXPECT_EQ(m_harness.storedConfig().listenPort, 20000) << "nothing saved";
        m_host.reset();
    }
}

TEST_F(SettingsPageTest, TheStartAtLoginSwitchActsAtOnceAndFallsBackOnFailure) {
    open();
    auto& toggle = m_page->autoStartSwitch();
    EXPECT_FALSE(toggle.isChecked());
    EXPECT_EQ(m_page->autoStartStatusLabel().text(),
              QStringLiteral("已关闭，登录 Linux 后不会自动启动。"));
    const auto entry = m_harness.autostartFolder / "com.dravenloe.velquor.desktop";

    QTest::mouseClick(&toggle, Qt::LeftButton);
    EXPECT_TRUE(toggle.isChecked());
    EXPECT_TRUE(m_model->config().autoStart);
    EXPECT_TRUE(std::filesystem::exists(entry));
    EXPECT_EQ(m_page->autoStartStatusLabel().text(),
              QStringLiteral("已开启，登录 Linux 后会自动启动 App。"));
    EXPECT_EQ(m_page->feedbackLabel().fullText(),
              QStringLiteral("开机启动已开启，点击保存设置后同步保存偏好。"));
    EXPECT_FALSE(m_harness.storedConfig().autoStart) << "stored only by the next save";
    test::saveScreenshot(*m_host, QStringLiteral("settings-page-autostart-on.png"));

    QTest::mouseClick(&toggle, Qt::LeftButton);
    EXPECT_FALSE(toggle.isChecked());
    EXPECT_FALSE(std::filesystem::exists(entry));

    // A file where the folder should be: the entry cannot be written.
    std::filesystem::remove_all(m_harness.autostartFolder);
    std::ofstream(m_harness.autostartFolder) << "in the way";
    QTest::mouseClick(&toggle, Qt::LeftButton);
    EXPECT_FALSE(toggle.isChecked()) << "back to the real state";
    EXPECT_EQ(m_page->autoStartStatusLabel().text(), QStringLiteral("开机启动状态变更失败。"));
    EXPECT_TRUE(
        m_page->feedbackLabel().fullText().startsWith(QStringLiteral("开机启动设置失败：")));
    EXPECT_EQ(m_page->feedbackSymbolName(), QStringLiteral("exclamationmark.triangle.fill"));
    EXPECT_EQ(textColor(m_page->autoStartStatusLabel()), Theme::secondaryColor());
}

TEST_F(SettingsPageTest, SwitchingToADarkPaletteLightensEveryGreyText) {
    open();
    const auto dark = switchToDark();
    settle();
    test::saveScreenshot(*m_host, QStringLiteral("settings-page-stopped-dark.png"));
    const auto grey = Theme::secondaryColor(dark);
    EXPECT_EQ(textColor(panel().titleLabel()), grey) << "stopped is drawn in the grey";
    EXPECT_EQ(textColor(panel().explanationLabel()), grey);
    EXPECT_EQ(textColor(panel().listenAddressLabel()), grey);
    EXPECT_EQ(textColor(*panel().processMetric().findChild<QLabel*>(QStringLiteral("metricTitle"))),
              grey);
    EXPECT_EQ(textColor(m_page->autoStartStatusLabel()), grey);
    EXPECT_EQ(textColor(m_page->feedbackLabel()), grey);
}

} // namespace
} // namespace velquor
