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
#include <QUrl>
#include <QVBoxLayout>

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
    // Whether a file manager opened the folder is not reported: there is nothing the page
    // could tell the user that the file manager would not.
    connect(m_openFolder, &QPushButton::clicked, this, [this] {
        QDesktopServices::openUrl(
            QUrl::fromLocalFile(QString::fromStdString(m_viewModel.logsDirectoryURL().string())));
    });
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

// The preview is published again after every check, mostly unchanged; the text is only
// replaced when it differs, so that a selection or scroll position survives.
void LogsPage::showPreview() {
    const auto& preview = m_viewModel.logPreview();
    const auto& shown = preview.isEmpty() ? emptyPreview : preview;
    if (m_logArea->toPlainText() != shown) {
        m_logArea->setPlainText(shown);
    }
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
