#include "VelquorApp/MainWindowView/LogsPage.h"

#include "tests/app/AppHarness.h"
#include "tests/app/PageFixture.h"
#include "tests/app/Screenshots.h"
#include "tests/app/TransientStatusController.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>

namespace velquor {

namespace {

using test::waitFor;

const QString emptyText = QStringLiteral("暂无日志");

class LogsPageTest : public test::PageFixture<LogsPage> {
protected:
    void open() {
        build(QSize(750, 680));
        m_host->show();
        QCoreApplication::processEvents();
    }

    // The log page shows no state of its own: the controller's check reporting each state is
    // enough to see the page after a command in it.
    void reach(ServiceStatus status) {
        if (status == ServiceStatus::stopped) {
            return;
        }
        m_controller->reportOnCheck(status);
        m_model->checkNow();
        ASSERT_TRUE(waitFor([&] { return m_model->serviceStatus() == status; }));
    }

    QString shown() const { return m_page->logArea().toPlainText(); }

    void appendToLog(const std::string& lines) {
        std::ofstream(m_harness.logFile, std::ios::app) << lines;
    }

    void refresh() {
        QSignalSpy published(m_model, &AppViewModel::logPreviewChanged);
        QTest::mouseClick(&m_page->refreshButton(), Qt::LeftButton);
        ASSERT_TRUE(waitFor([&] { return !published.isEmpty(); }));
        ASSERT_EQ(shown(), m_model->logPreview());
    }
};

class LogsPageInEachState : public LogsPageTest,
                            public ::testing::WithParamInterface<ServiceStatus> {};

// The commands log what they did and refresh the preview, which the page follows.
TEST_P(LogsPageInEachState, ShowsThePreviewThatTheCommandsLeave) {
    const auto status = GetParam();
    open();
    QSignalSpy published(m_model, &AppViewModel::logPreviewChanged);
    reach(status);
    if (status != ServiceStatus::stopped) {
        ASSERT_TRUE(waitFor([&] { return !published.isEmpty(); })) << "refreshed after it";
    }
    EXPECT_FALSE(m_model->logPreview().isEmpty());
    EXPECT_EQ(shown(), m_model->logPreview());
    test::saveScreenshot(*m_host, QStringLiteral("logs-page-%1.png").arg(test::statusName(status)));
}

INSTANTIATE_TEST_SUITE_P(LogsPage, LogsPageInEachState,
                         ::testing::ValuesIn(test::allServiceStatuses), [](const auto& info) {
                             return test::statusName(info.param).toStdString();
                         });

TEST_F(LogsPageTest, ClearingEmptiesTheLogAtOnceAndThePlaceholderIsNotCopied) {
    open();
    ASSERT_FALSE(m_model->logPreview().isEmpty()) << "loading writes to the log";
    EXPECT_EQ(shown(), m_model->logPreview());

    QTest::mouseClick(&m_page->clearButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return shown() == emptyText; }));
    EXPECT_TRUE(m_model->logPreview().isEmpty());
    EXPECT_TRUE(m_harness.logText().empty());
    test::saveScreenshot(*m_host, QStringLiteral("logs-page-empty.png"));

    QGuiApplication::clipboard()->setText(QStringLiteral("something else"));
    QTest::mouseClick(&m_page->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QString()) << "the preview, not the words";
}

TEST_F(LogsPageTest, RefreshShowsNewLinesFirstAndCopyTakesWhatIsShown) {
    open();
    appendToLog("[2026-01-02 03:04:05] the newest line\n");
    refresh();
    EXPECT_THAT(shown().section(QLatin1Char('\n'), 0, 0).toStdString(),
                ::testing::HasSubstr("the newest line"));

    std::string many;
    for (int i = 0; i < 600; ++i) {
        many += "[2026-01-02 03:04:05] line " + std::to_string(i) + "\n";
    }
    appendToLog(many);
    refresh();
    EXPECT_EQ(m_page->logArea().document()->blockCount(), AppViewModel::logPreviewLines + 1)
        << "500 lines under a note that says so";
    EXPECT_TRUE(shown().startsWith(QStringLiteral("仅显示最近 500 行")));
    ASSERT_TRUE(waitFor([&] { return m_page->logArea().verticalScrollBar()->isVisible(); }));
    test::saveScreenshot(*m_host, QStringLiteral("logs-page-long.png"));
    QTest::mouseClick(&m_page->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), shown());
    EXPECT_FALSE(shown().contains(QStringLiteral("line 99\n"))) << "only the newest 500";
}

TEST_F(LogsPageTest, AnUnchangedPreviewKeepsTheUsersSelection) {
    open();
    auto& area = m_page->logArea();
    auto cursor = area.textCursor();
    cursor.setPosition(0);
    cursor.setPosition(5, QTextCursor::KeepAnchor);
    area.setTextCursor(cursor);
    QSignalSpy published(m_model, &AppViewModel::logPreviewChanged);
    QTest::mouseClick(&m_page->refreshButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return !published.isEmpty(); }));
    EXPECT_EQ(area.textCursor().selectedText(), shown().left(5));
}

TEST_F(LogsPageTest, OpenFolderAsksTheDesktopToShowTheLogFolder) {
    open();
    // Stands in for the file manager: any method taking a URL serves as a handler, and a
    // text browser's signal records the request without a class of this test's own.
    QTextBrowser opener;
    QSignalSpy opened(&opener, &QTextBrowser::anchorClicked);
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &opener, "anchorClicked");
    QTest::mouseClick(&m_page->openFolderButton(), Qt::LeftButton);
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    ASSERT_EQ(opened.size(), 1);
    EXPECT_EQ(opened.front().front().toUrl().toLocalFile().toStdString(),
              (m_harness.folder / "logs").string());
    EXPECT_EQ(shown(), m_model->logPreview()) << "nothing else changes";
}

} // namespace
} // namespace velquor
