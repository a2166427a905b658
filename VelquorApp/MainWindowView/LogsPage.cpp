#include "VelquorApp/MainWindowView/LogsPage.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/PageHeader.h"
#include "VelquorApp/MainWindowView/RoundedPanel.h"
#include "VelquorApp/MainWindowView/SeparatorLine.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QDesktopServices>
#include <QEvent>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>

namespace velquor {

namespace {

const QString emptyPreview = QStringLiteral("暂无日志");
constexpr qreal scrollHandleOpacity = 0.3;

QFont logFont() {
    auto font = Theme::monospacedFont(Theme::TextStyle::body);
    const auto twelvePoints = Theme::systemFont(12);
    if (twelvePoints.pointSizeF() > 0) {
        font.setPointSizeF(twelvePoints.pointSizeF());
    } else {
        font.setPixelSize(twelvePoints.pixelSize());
    }
    return font;
}

// How a newer preview continues the shown one. The newest lines come first, so lines added
// to the log arrive at the top, below a first line that may stay there (the note that the
// preview is cut), while the limit cuts as many of the oldest at the bottom.
struct Continuation {
    qsizetype keptAtTop = 0;
    qsizetype added = 0;
    qsizetype cutAtBottom = 0;
};

std::optional<Continuation> continuation(const QStringList& shown, const QStringList& next) {
    for (const qsizetype kept : {0, 1}) {
        if (kept == 1 && (next.isEmpty() || shown.front() != next.front())) {
            break;
        }
        // The fewest added lines that fit, and at least one shown line stays.
        for (qsizetype added = 0; kept + added < next.size(); ++added) {
            const auto stays = next.size() - kept - added;
            if (stays <= shown.size() - kept &&
                std::equal(next.begin() + kept + added, next.end(), shown.begin() + kept)) {
                return Continuation{kept, added, shown.size() - kept - stays};
            }
        }
    }
    return std::nullopt;
}

} // namespace

LogsPage::LogsPage(AppViewModel& viewModel, QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel) {
    // Set before the children exist, so that they inherit it and size themselves by it.
    setFont(Theme::font(Theme::TextStyle::body));
    m_header = new PageHeader(
        QStringLiteral("运行日志"),
        QStringLiteral("最新日志显示在最上方，最多显示最近 500 行；完整日志可点击打开目录查看。"),
        this);
    m_copy = makeButton(QStringLiteral("复制日志"), QStringLiteral("doc.on.doc"));
    m_openFolder = makeButton(QStringLiteral("打开目录"), QStringLiteral("folder"));
    m_refresh = makeButton(QStringLiteral("刷新日志"), QStringLiteral("arrow.clockwise"));
    m_clear = makeButton(QStringLiteral("清空日志"), QStringLiteral("trash"));

    connect(m_copy, &QPushButton::clicked, this, [this] { m_viewModel.copyLogs(); });
    connect(m_openFolder, &QPushButton::clicked, this, &LogsPage::openFolder);
    connect(m_refresh, &QPushButton::clicked, this, [this] { m_viewModel.refreshLogPreview(); });
    // No confirmation: the log is a diagnostic aid, not data the user keeps.
    connect(m_clear, &QPushButton::clicked, this, [this] { m_viewModel.clearLogs(); });

    auto* actions = new QHBoxLayout;
    for (auto* button : {m_copy, m_openFolder, m_refresh, m_clear}) {
        actions->addWidget(button, 0, Qt::AlignVCenter);
    }
    actions->addStretch(1);

    m_logPanel = new RoundedPanel(this);
    m_logArea = new QPlainTextEdit(m_logPanel);
    m_logArea->setObjectName(QStringLiteral("logArea"));
    m_logArea->setReadOnly(true);
    // The text is rewritten for days on end; an undo history would only grow.
    m_logArea->document()->setUndoRedoEnabled(false);
    m_logArea->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_logArea->setFrameShape(QFrame::NoFrame);
    m_logArea->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_logArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_logArea->setFont(logFont());
    m_logArea->document()->setDocumentMargin(textInset);
    // The panel draws the rounded background; the text area lies on it.
    m_logArea->viewport()->setAutoFillBackground(false);
    m_logArea->setAutoFillBackground(false);
    auto* panelLayout = new QVBoxLayout(m_logPanel);
    // Inside the outline, so that neither the text nor the scroll bar covers it.
    panelLayout->setContentsMargins(1, 1, 1, 1);
    panelLayout->addWidget(m_logArea);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(18);
    layout->addWidget(m_header);
    layout->addLayout(actions);
    layout->addWidget(m_logPanel, 1);

    connect(&viewModel, &AppViewModel::logPreviewChanged, this, &LogsPage::showPreview);
    applyStyle();
    showPreview();
}

QPushButton* LogsPage::makeButton(const QString& text, const QString& symbol) {
    auto* button = new QPushButton(text, this);
    button->setProperty("symbol", symbol);
    return button;
}

// The outcome is not shown: the file manager that opens the folder is the answer, and
// xdg-utils comes with the application.
void LogsPage::openFolder() {
    const auto folder = QString::fromStdString(m_viewModel.logsDirectoryURL().string());
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

// The preview is published again after every check, mostly unchanged or with a few new lines;
// the text is only changed where it differs, so that a selection or scroll position survives.
void LogsPage::showPreview() {
    const auto& preview = m_viewModel.logPreview();
    const auto& next = preview.isEmpty() ? emptyPreview : preview;
    const auto shown = m_logArea->toPlainText();
    if (shown != next && (shown == emptyPreview || !continueShownText(shown, next))) {
        m_logArea->setPlainText(next);
    }
}

// Edits the text in place instead of replacing it, so the selection moves with its lines. A
// reader at the top keeps seeing the newest lines; one who scrolled away keeps the same lines
// in view while the new ones arrive above.
bool LogsPage::continueShownText(const QString& shown, const QString& next) {
    const auto shownLines = shown.split(QLatin1Char('\n'));
    const auto nextLines = next.split(QLatin1Char('\n'));
    const auto change = continuation(shownLines, nextLines);
    if (!change) {
        return false;
    }
    auto* document = m_logArea->document();
    auto* scrollBar = m_logArea->verticalScrollBar();
    const bool atTop = scrollBar->value() == scrollBar->minimum();
    // The line of the log at the top of the view, and which of its wrapped lines shows there.
    const auto top = m_logArea->cursorForPosition(QPoint(0, 0));
    const int topNumber = top.blockNumber();
    const auto wrapped = top.block().layout()->lineForTextPosition(top.positionInBlock());
    const int lineInTop = wrapped.isValid() ? wrapped.lineNumber() : 0;

    QTextCursor edit(document);
    edit.beginEditBlock();
    if (change->cutAtBottom > 0) {
        const auto last = document->findBlockByNumber(
            static_cast<int>(shownLines.size() - change->cutAtBottom - 1));
        edit.setPosition(last.position() + last.length() - 1);
        edit.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        edit.removeSelectedText();
    }
    if (change->added > 0) {
        edit.setPosition(
            document->findBlockByNumber(static_cast<int>(change->keptAtTop)).position());
        edit.insertText(nextLines.mid(change->keptAtTop, change->added).join(QLatin1Char('\n')) +
                        QLatin1Char('\n'));
    }
    edit.endEditBlock();

    if (atTop) {
        scrollBar->setValue(scrollBar->minimum());
    } else {
        const auto shift = topNumber < change->keptAtTop ? 0 : change->added;
        const auto block = document->findBlockByNumber(
            std::min(topNumber + static_cast<int>(shift), document->blockCount() - 1));
        // The bar counts wrapped lines, which are only known for lines laid out: a line not
        // laid out since the width last changed counts as one.
        const auto* layout = static_cast<QPlainTextDocumentLayout*>(document->documentLayout());
        for (auto above = document->firstBlock(); above != block; above = above.next()) {
            layout->ensureBlockLayout(above);
        }
        layout->ensureBlockLayout(block);
        scrollBar->setValue(block.firstLineNumber() + lineInTop);
    }
    return true;
}

void LogsPage::applyStyle() {
    const auto& colors = palette();
    m_logPanel->setFillColor(colors.color(QPalette::Active, QPalette::Base));
    m_logPanel->setOutlineColor(SeparatorLine::color(colors));
    // A slim bar kept clear of the rounded corners; the style's square bar with arrow buttons
    // would poke out of them.
    const auto handle = Theme::withOpacity(colors.color(QPalette::Active, QPalette::WindowText),
                                           scrollHandleOpacity);
    m_logArea->verticalScrollBar()->setStyleSheet(
        QStringLiteral(
            "QScrollBar:vertical { background: transparent; width: 12px; margin: 8px 3px 8px 0; }"
            " QScrollBar::handle:vertical { background: rgba(%1, %2, %3, %4); border-radius: 4px;"
            " min-height: 28px; }"
            " QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
            " QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }")
            .arg(handle.red())
            .arg(handle.green())
            .arg(handle.blue())
            .arg(handle.alpha()));
    const auto symbolColor = colors.color(QPalette::Active, QPalette::ButtonText);
    const auto size = Theme::symbolPixelSize(13);
    for (auto* button : {m_copy, m_openFolder, m_refresh, m_clear}) {
        button->setIcon(SymbolIcon::icon(button->property("symbol").toString(), symbolColor, size));
        button->setIconSize(QSize(size, size));
    }
}

void LogsPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

} // namespace velquor
