#include "VelquorApp/MainWindowView/Sidebar.h"

#include "VelquorApp/AppIconView/AppIconView.h"
#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QFrame>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace velquor {

namespace {

QPixmap dot(const QColor& color) {
    constexpr int size = 8;
    const qreal ratio = qApp->devicePixelRatio();
    QPixmap pixmap(QSize(size, size) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size));
    return pixmap;
}

QLabel* secondaryLabel(const QString& text, Theme::TextStyle style, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(Theme::font(style));
    Theme::setSecondaryText(*label);
    return label;
}

} // namespace

Sidebar::Sidebar(AppViewModel& viewModel, QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 12, 10, 12);
    layout->setSpacing(8);
    layout->addWidget(makeHeader());

    m_sections = new QListWidget(this);
    m_sections->setFrameShape(QFrame::NoFrame);
    m_sections->setIconSize(QSize(18, 18));
    m_sections->setSpacing(2);
    for (const auto section : allAppSections) {
        auto* item = new QListWidgetItem(appSectionRawValue(section), m_sections);
        item->setData(Qt::UserRole, static_cast<int>(section));
        item->setSizeHint(QSize(0, 30));
    }
    layout->addWidget(m_sections, 1);
    layout->addWidget(makeFooter());

    connect(m_sections, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < static_cast<int>(allAppSections.size()) &&
            allAppSections[row] != m_viewModel.selectedSection()) {
            m_viewModel.setSelectedSection(allAppSections[row]);
        }
    });
    connect(&m_viewModel, &AppViewModel::selectedSectionChanged, this, &Sidebar::showSelection);
    connect(&m_viewModel, &AppViewModel::serviceStatusChanged, this, &Sidebar::showStatus);
    connect(&m_viewModel, &AppViewModel::configInUseChanged, this, &Sidebar::showStatus);
    showSelection();
    showStatus();
}

QWidget* Sidebar::makeHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(4, 8, 4, 8);
    row->setSpacing(10);
    row->addWidget(new AppIconView(34, header));
    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    auto* name = new QLabel(QStringLiteral("Qarvex"), header);
    name->setFont(Theme::font(Theme::TextStyle::headline));
    titles->addWidget(name);
    titles->addWidget(
        secondaryLabel(QStringLiteral("菜单栏后台运行"), Theme::TextStyle::caption, header));
    row->addLayout(titles);
    row->addStretch();
    return header;
}

QWidget* Sidebar::makeFooter() {
    auto* footer = new QWidget(this);
    auto* column = new QVBoxLayout(footer);
    column->setContentsMargins(8, 8, 8, 8);
    column->setSpacing(6);
    column->addWidget(
        secondaryLabel(QStringLiteral("服务摘要"), Theme::TextStyle::caption, footer));

    auto* statusRow = new QHBoxLayout;
    statusRow->setSpacing(6);
    m_statusDot = new QLabel(footer);
    m_statusWord = new QLabel(footer);
    m_statusWord->setFont(Theme::font(Theme::TextStyle::headline));
    statusRow->addWidget(m_statusDot);
    statusRow->addWidget(m_statusWord);
    statusRow->addStretch();
    column->addLayout(statusRow);

    m_listenAddress = new QLabel(footer);
    m_listenAddress->setFont(Theme::monospacedFont(Theme::TextStyle::caption));
    Theme::setSecondaryText(*m_listenAddress);
    column->addWidget(m_listenAddress);
    auto* hint = secondaryLabel(QStringLiteral("关闭窗口后仍会保留菜单栏后台。"),
                                Theme::TextStyle::caption2, footer);
    hint->setWordWrap(true);
    column->addWidget(hint);

    auto* divider = new QFrame(footer);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setStyleSheet(QStringLiteral("color: palette(mid);"));
    column->addSpacing(4);
    column->addWidget(divider);
    column->addSpacing(4);

    auto* quit = new QPushButton(SymbolIcon::icon(QStringLiteral("power"), Theme::red(), 16),
                                 QStringLiteral("退出程序"), footer);
    quit->setFlat(true);
    quit->setObjectName(QStringLiteral("quitButton"));
    quit->setStyleSheet(QStringLiteral("QPushButton { text-align: left; color: %1; border: none; "
                                       "padding: 4px 0; }")
                            .arg(Theme::red().name()));
    connect(quit, &QPushButton::clicked, &m_viewModel, &AppViewModel::quitApplication);
    column->addWidget(quit);
    return footer;
}

void Sidebar::showStatus() {
    const auto status = m_viewModel.serviceStatus();
    const auto color = Theme::statusColor(status, palette());
    m_statusDot->setPixmap(dot(color));
    m_statusWord->setText(Theme::sidebarWord(status));
    Theme::setTextColor(*m_statusWord, color);
    m_listenAddress->setText(Theme::listenAddressText(m_viewModel.configInUse()));
}

void Sidebar::showSelection() {
    const auto row = static_cast<int>(m_viewModel.selectedSection());
    if (m_sections->currentRow() != row) {
        m_sections->setCurrentRow(row);
    }
    // The accent-coloured symbols would vanish into the selection's accent background.
    for (int index = 0; index < m_sections->count(); ++index) {
        const auto role = index == row ? QPalette::HighlightedText : QPalette::Highlight;
        m_sections->item(index)->setIcon(SymbolIcon::icon(
            Theme::sectionSymbol(allAppSections[index]), palette().color(role), 18));
    }
}

} // namespace velquor
