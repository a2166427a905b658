#include "VelquorApp/MainWindowView/StatusPage.h"

#include "VelquorApp/MainWindowView/DetailGrid.h"
#include "VelquorApp/MainWindowView/PageHeader.h"
#include "VelquorApp/MainWindowView/StatusBadge.h"
#include "VelquorApp/MainWindowView/StatusHeroPanel.h"
#include "VelquorApp/MainWindowView/StatusQuickGrid.h"
#include "VelquorApp/MainWindowView/StatusTile.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "tests/app/PageFixture.h"
#include "tests/app/Screenshots.h"
#include "tests/app/StatusLooks.h"

#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velquor {
namespace {

using test::isNear;
using test::waitFor;

QColor over(const QColor& background, const QColor& tint, qreal opacity) {
    const auto mix = [&](float b, float t) { return static_cast<float>(b + (t - b) * opacity); };
    return QColor::fromRgbF(mix(background.redF(), tint.redF()),
                            mix(background.greenF(), tint.greenF()),
                            mix(background.blueF(), tint.blueF()));
}

int pixelsNear(const QImage& image, const QRect& area, const QColor& color) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            count += isNear(image.pixelColor(x, y), color, 6) ? 1 : 0;
        }
    }
    return count;
}

const QRegularExpression clockTime(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d$"));

// The page as the main window shows it: inset by 24 points on the window background, in a
// detail column of a window at its smallest size.
class StatusPageTest : public test::PageFixture<StatusPage> {
protected:
    void open() { buildShown(QSize(760, 680)); }

    // Failing here through discovery leaves an error text for the details to show.
    void reach(ServiceStatus status) {
        if (status == ServiceStatus::failed) {
            const auto target = m_harness.discovery.target;
            m_harness.discovery.target.reset();
            m_model->startService();
            ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == status; }));
            m_harness.discovery.target = target;
        } else {
            ASSERT_TRUE(test::reachStatus(*m_model, m_harness, *m_controller, status));
        }
        QCoreApplication::processEvents();
    }

    StatusHeroPanel& hero() const { return m_page->hero(); }
    StatusQuickGrid& tiles() const { return m_page->quickGrid(); }

    // The view model may apply a fast command's snapshot before the click returns, so the
    // spy is counted rather than waited on.
    void click(QPushButton& button, ServiceStatus expected) {
        QSignalSpy applied(m_model, &AppViewModel::serviceStatusChanged);
        QTest::mouseClick(&button, Qt::LeftButton);
        ASSERT_TRUE(waitFor([&] { return !applied.isEmpty(); })) << button.text().toStdString();
        ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == expected; }))
            << button.text().toStdString();
    }

    QRect areaOf(const QWidget& widget) const {
        return QRect(widget.mapTo(m_host.get(), QPoint(0, 0)), widget.size());
    }
};

class StatusPageInEachState : public StatusPageTest,
                              public ::testing::WithParamInterface<test::StatusLook> {};

TEST_P(StatusPageInEachState, ShowsTheStateInItsColourAndEveryCommandWorks) {
    const auto& look = GetParam();
    open();
    reach(look.status);
    const auto image = test::saveScreenshot(
        *m_host, QStringLiteral("status-page-%1.png").arg(test::statusName(look.status)));
    const auto color = look.color();

    EXPECT_EQ(hero().titleLabel().text(), look.text(look.heroTitle));
    EXPECT_EQ(hero().explanationLabel().text(), look.text(look.heroExplanation));
    EXPECT_EQ(hero().badge().symbol(), look.text(look.symbol));
    EXPECT_EQ(hero().badge().color(), color);
    EXPECT_GT(pixelsNear(image, areaOf(hero().titleLabel()), color), 50)
        << "the title is drawn in the status colour";
    const auto panel = areaOf(hero());
    const auto tint =
        over(m_host->palette().color(QPalette::Window), color, StatusHeroPanel::fillOpacity);
    EXPECT_TRUE(isNear(image.pixelColor(panel.left() + 6, panel.bottom() - 6), tint))
        << "panel tint";
    EXPECT_TRUE(isNear(image.pixelColor(panel.left(), panel.center().y()),
                       over(tint, color, StatusHeroPanel::outlineOpacity)))
        << "outline";

    auto& start = hero().startButton();
    auto& stop = hero().stopButton();
    auto& restart = hero().restartButton();
    auto& check = hero().checkButton();
    EXPECT_EQ(QStringList({start.text(), stop.text(), restart.text(), check.text()}),
              QStringList({QStringLiteral("启动转发"), QStringLiteral("停止转发"),
                           QStringLiteral("重启"), QStringLiteral("检查")}));
    for (auto* button : {&start, &stop, &restart, &check}) {
        EXPECT_TRUE(button->isEnabled()) << button->text().toStdString();
    }

    click(stop, ServiceStatus::stopped);
    EXPECT_TRUE(m_harness.machine.socatPids().empty());
    click(start, ServiceStatus::running);
    const auto firstLaunches = m_harness.machine.launched.size();
    EXPECT_THAT(tiles().processTile().value().toStdString(),
                ::testing::StartsWith("App 启动的转发进程 [PID="));
    EXPECT_TRUE(tiles().processTile().isValueMonospaced());
    click(restart, ServiceStatus::running);
    EXPECT_EQ(m_harness.machine.launched.size(), firstLaunches + 1) << "a new forwarder";
    const auto checksBefore = m_harness.discovery.requests;
    click(check, ServiceStatus::running);
    EXPECT_GT(m_harness.discovery.requests, checksBefore);
    EXPECT_TRUE(clockTime.match(tiles().lastCheckTile().value()).hasMatch())
        << tiles().lastCheckTile().value().toStdString();
}

INSTANTIATE_TEST_SUITE_P(AllStatuses, StatusPageInEachState, ::testing::ValuesIn(test::statusLooks),
                         test::lookName);

// The listen address is the one in use, not the unsaved draft of the settings form.
TEST_F(StatusPageTest, TheRouteTilesAndDetailsFollowTheConfigurationAndTheLastError) {
    m_harness.writeConfig([](auto& config) { config.listenPort = 20000; });
    open();
    EXPECT_EQ(m_page->header().title(), QStringLiteral("状态总览"));
    EXPECT_EQ(m_page->header().subtitle(),
              QStringLiteral("确认转发是否正在工作，并执行常用控制。"));
    EXPECT_EQ(hero().routeLabel().text(), QStringLiteral("127.0.0.1:20000  ->  尚未解析"));
    EXPECT_EQ(tiles().targetTile().value(), QStringLiteral("尚未解析"));
    EXPECT_EQ(tiles().listenTile().value(), QStringLiteral("127.0.0.1:20000"));
    EXPECT_EQ(tiles().lastCheckTile().value(), QStringLiteral("尚未检查"));
    EXPECT_EQ(tiles().processTile().value(), QStringLiteral("未监听"));
    auto& details = m_page->details();
    EXPECT_THAT(
        details.rows(),
        ::testing::ElementsAre(std::pair(QStringLiteral("动态地址接口"),
                                         QStringLiteral("http://discovery.invalid/dynamic-port")),
                               std::pair(QStringLiteral("内置转发组件"), QStringLiteral("已内置")),
                               std::pair(QStringLiteral("最近错误"), QStringLiteral("无"))));
    const auto fixedPitch = [&](const char* label) {
        return QFontInfo(details.valueLabel(QString::fromUtf8(label))->font()).fixedPitch();
    };
    EXPECT_TRUE(fixedPitch("动态地址接口"));
    EXPECT_FALSE(fixedPitch("最近错误"));
    reach(ServiceStatus::failed);
    EXPECT_EQ(details.valueLabel(QStringLiteral("最近错误"))->text(),
              QString::fromLatin1(test::unreachableDiscovery));
    EXPECT_TRUE(fixedPitch("最近错误"));
    test::saveScreenshot(*m_host, QStringLiteral("status-page-failed-details.png"));

    m_model->resetSettings();
    EXPECT_EQ(tiles().listenTile().value(), QStringLiteral("127.0.0.1:20000"));
    m_model->startService(); // saves the restored defaults first
    ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == ServiceStatus::running; }));
    EXPECT_EQ(hero().routeLabel().text(), QStringLiteral("127.0.0.1:18082  ->  10.0.0.5:3260"));
    EXPECT_EQ(tiles().targetTile().value(), QStringLiteral("10.0.0.5:3260"));
}

TEST_F(StatusPageTest, TileTitlesStayLevelWhateverTheirValues) {
    m_harness.machine.spawn("a-process-with-a-rather-long-name-that-wraps", 18082);
    open();
    const auto top = [&](StatusTile& tile) {
        return tile.findChild<QLabel*>(QStringLiteral("tileTitle"))
            ->mapTo(m_host.get(), QPoint())
            .y();
    };
    EXPECT_EQ(top(tiles().processTile()), top(tiles().listenTile()));
    EXPECT_EQ(top(tiles().lastCheckTile()), top(tiles().listenTile()));
    for (auto* tile : {&tiles().listenTile(), &tiles().targetTile(), &tiles().processTile(),
                       &tiles().lastCheckTile()}) {
        EXPECT_NEAR(tile->width(), tiles().listenTile().width(), 1) << "equal shares";
        EXPECT_GE(tile->findChild<QLabel*>(QStringLiteral("tileValue"))->height(),
                  StatusTile::valueMinimumHeight);
    }
    test::saveScreenshot(*m_host, QStringLiteral("status-page-long-process.png"));
}

TEST_F(StatusPageTest, SwitchingToADarkPaletteKeepsStatusColoursAndLightensTheGrey) {
    open();
    reach(ServiceStatus::running);
    const auto subtitle = m_page->header().findChild<QLabel*>(QStringLiteral("pageSubtitle"));
    const auto lightGrey = subtitle->palette().color(QPalette::WindowText);
    const auto lightWindow = m_host->palette().color(QPalette::Window);

    const auto dark = switchToDark();
    QCoreApplication::processEvents();
    test::saveScreenshot(*m_host, QStringLiteral("status-page-running-dark.png"));

    const auto darkGrey = Theme::secondaryColor(dark);
    EXPECT_EQ(lightGrey.alpha(), 255);
    EXPECT_EQ(darkGrey.alpha(), 255);
    EXPECT_LT(lightGrey.lightness(), lightWindow.lightness());
    EXPECT_GT(darkGrey.lightness(), 100) << "readable on a dark window";
    EXPECT_EQ(hero().titleLabel().palette().color(QPalette::WindowText), Theme::green());
    EXPECT_EQ(subtitle->palette().color(QPalette::WindowText), darkGrey);
    EXPECT_EQ(hero().routeLabel().palette().color(QPalette::WindowText), darkGrey);
    const auto gridLabel = m_page->details().findChildren<QLabel*>().first();
    EXPECT_EQ(gridLabel->palette().color(QPalette::WindowText), darkGrey);
    EXPECT_EQ(tiles().listenTile().fillColor(), Theme::thinMaterial(dark));

    m_model->stopService();
    ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == ServiceStatus::stopped; }));
    EXPECT_EQ(hero().badge().color(), darkGrey);
}

} // namespace
} // namespace velquor
