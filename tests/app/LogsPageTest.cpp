#include "VelquorApp/MainWindowView/LogsPage.h"

#include "tests/app/PageFixture.h"
#include "tests/app/Screenshots.h"
#include "tests/support/ScopedEnvironment.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextBrowser>
#include <QUrl>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace velquor {
namespace {

using test::waitFor;

class LogsPageTest : public test::PageFixture<LogsPage> {
protected:
    void open() { buildShown(QSize(750, 680)); }

    QString shown() const { return m_page->logArea().toPlainText(); }

    // Numbered lines of different lengths, so that some wrap and some do not.
    void appendLines(int first, int count) {
        std::string lines;
        for (int i = first; i < first + count; ++i) {
            lines += "[2026-01-02 03:04:05] line " + std::to_string(i) + " " +
                     std::string(static_cast<std::size_t>(i % 7) * 30, 'x') + "\n";
        }
        std::ofstream(m_harness.logFile, std::ios::app) << lines;
    }

    // The line of the log shown at that height of the view.
    QTextBlock lineAt(int y) const {
        return m_page->logArea().cursorForPosition(QPoint(LogsPage::textInset, y)).block();
    }

    void refresh() {
        QSignalSpy published(m_model, &AppViewModel::logPreviewChanged);
        QTest::mouseClick(&m_page->refreshButton(), Qt::LeftButton);
        ASSERT_TRUE(waitFor([&] { return !published.isEmpty(); }));
        ASSERT_EQ(shown(), m_model->logPreview());
    }
};

TEST_F(LogsPageTest,
       RefreshShowsNewLinesFirstCopyTakesWhatIsShownClearEmptiesOpenFolderSaysNothing) {
    open();
    ASSERT_FALSE(m_model->logPreview().isEmpty()) << "loading writes to the log";
    EXPECT_EQ(shown(), m_model->logPreview());
    appendLines(0, 600);
    refresh();
    EXPECT_EQ(m_page->logArea().document()->blockCount(), AppViewModel::logPreviewLines + 1)
        << "500 lines under a note that says so";
    EXPECT_TRUE(shown().startsWith(QStringLiteral("仅显示最近 500 行")));
    EXPECT_THAT(shown().section(QLatin1Char('\n'), 1, 1).toStdString(),
                ::testing::HasSubstr("line 599 "));
    ASSERT_TRUE(waitFor([&] { return m_page->logArea().verticalScrollBar()->isVisible(); }));
    test::saveScreenshot(*m_host, QStringLiteral("logs-page-long.png"));
    QTest::mouseClick(&m_page->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), shown());
    EXPECT_FALSE(shown().contains(QStringLiteral("line 99 "))) << "only the newest 500";

    QTest::mouseClick(&m_page->clearButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return shown() == QStringLiteral("暂无日志"); }));
    EXPECT_TRUE(m_model->logPreview().isEmpty());
    EXPECT_TRUE(m_harness.logText().empty());
    ASSERT_TRUE(waitFor([&] { return !m_page->logArea().verticalScrollBar()->isVisible(); }));
    QTest::mouseClick(&m_page->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QString()) << "the preview, not the words";

    // Whether or not a file manager opens the folder, the page looks as it did: it says nothing.
    // No xdg-open without a PATH, nor a file manager offscreen. A text browser's signal stands in
    // for one: any method taking a URL serves as a handler.
    test::ScopedEnvironment environment;
    environment.set("PATH", "");
    QTextBrowser fileManager;
    QSignalSpy opened(&fileManager, &QTextBrowser::anchorClicked);
    QImage firstLook; // after the first click, so that the button's focus shows in both
    for (const bool present : {false, true, false}) {
        SCOPED_TRACE(present);
        if (present) {
            QDesktopServices::setUrlHandler(QStringLiteral("file"), &fileManager, "anchorClicked");
        }
        QTest::mouseClick(&m_page->openFolderButton(), Qt::LeftButton);
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        ASSERT_EQ(opened.size(), present ? 1 : 0);
        EXPECT_TRUE(!present || opened.takeFirst().front().toUrl().toLocalFile() ==
                                    QString::fromStdString((m_harness.folder / "logs").string()));
        QCoreApplication::processEvents();
        const auto look = test::saveScreenshot(*m_host, QStringLiteral("logs-page-empty.png"));
        firstLook = firstLook.isNull() ? look : firstLook;
        EXPECT_TRUE(look == firstLook) << "the page changed";
    }
}

struct PlaceCase {
    const char* name;
    int linesBefore; // in the log before the refresh; over 500 the preview is cut
    int added;
    bool scrolledAway;
    bool rewritten; // the log was emptied before the new lines came
};

class LogsPageKeepsThePlace : public LogsPageTest,
                              public ::testing::WithParamInterface<PlaceCase> {};

// Newest lines come first: a reader at the top follows them, one who scrolled down to read
// keeps the same lines in view, and a selection stays on its text, also when the limit cuts
// the oldest lines or the note that says so appears.
TEST_P(LogsPageKeepsThePlace, WhenARefreshOnlyAddsLines) {
    const auto& c = GetParam();
    open();
    appendLines(0, c.linesBefore - m_page->logArea().document()->blockCount());
    refresh();
    auto& area = m_page->logArea();
    auto* scrollBar = area.verticalScrollBar();
    // The bar's arrival narrows the text and wraps it anew; the place is taken after that.
    ASSERT_TRUE(waitFor([&] { return scrollBar->isVisible(); }));
    QCoreApplication::processEvents();
    if (c.scrolledAway) {
        scrollBar->setValue(scrollBar->maximum() / 2);
    }
    const auto topBefore = lineAt(LogsPage::textInset).text();
    const auto selected = lineAt(area.viewport()->height() / 2);
    auto cursor = area.textCursor();
    cursor.setPosition(selected.position());
    cursor.setPosition(selected.position() + selected.length() - 1, QTextCursor::KeepAnchor);
    area.setTextCursor(cursor);

    if (c.rewritten) {
        std::ofstream(m_harness.logFile, std::ios::trunc).flush();
    }
    appendLines(c.linesBefore, c.added);
    refresh();
    const auto top = lineAt(LogsPage::textInset).text();
    const bool atTheTop = c.rewritten || !c.scrolledAway;
    EXPECT_EQ(scrollBar->value() == 0, atTheTop);
    EXPECT_EQ(top.toStdString(),
              (atTheTop ? shown().section(QLatin1Char('\n'), 0, 0) : topBefore).toStdString());
    EXPECT_EQ(area.textCursor().selectedText().toStdString(),
              c.rewritten ? std::string() : selected.text().toStdString());
    test::saveScreenshot(*m_host, QStringLiteral("logs-page-place-%1.png").arg(c.name));
}

INSTANTIATE_TEST_SUITE_P(
    LogsPage, LogsPageKeepsThePlace,
    ::testing::Values(PlaceCase{"Unchanged", 100, 0, false, false},
                      PlaceCase{"AtTheTop", 100, 3, false, false},
                      PlaceCase{"ScrolledAway", 100, 3, true, false},
                      PlaceCase{"ScrolledAwayAsTheNoteAppears", 498, 5, true, false},
                      PlaceCase{"ScrolledAwayUnderTheNote", 600, 5, true, false},
                      PlaceCase{"AtTheTopUnderTheNote", 600, 5, false, false},
                      PlaceCase{"ScrolledAwayInARewrittenLog", 100, 3, true, true}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace velquor
