#include "VelquorApp/MainWindowView/StatusHeroPanel.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/StatusBadge.h"
#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velquor {

StatusHeroPanel::StatusHeroPanel(AppViewModel& viewModel, QWidget* parent)
    : RoundedPanel(parent), m_viewModel(viewModel),
      m_badge(new StatusBadge(96, Theme::symbolPixelSize(44), 2, this)), m_title(new QLabel(this)),
      m_explanation(new QLabel(this)), m_route(new QLabel(this)),
      m_start(new QPushButton(QStringLiteral("启动转发"), this)),
      m_stop(new QPushButton(QStringLiteral("停止转发"), this)),
      m_restart(new QPushButton(QStringLiteral("重启"), this)),
      m_check(new QPushButton(QStringLiteral("检查"), this)) {
    m_title->setObjectName(QStringLiteral("heroTitle"));
    m_explanation->setObjectName(QStringLiteral("heroExplanation"));
    m_route->setObjectName(QStringLiteral("heroRoute"));
    m_title->setFont(Theme::systemFont(40, QFont::Bold));
    m_explanation->setFont(Theme::font(Theme::TextStyle::title3));
    m_explanation->setWordWrap(true);
    m_route->setFont(Theme::monospacedFont(Theme::TextStyle::callout));
    m_route->setTextInteractionFlags(Qt::TextSelectableByMouse);

    // The commands return at once; the view model runs them and publishes what they did.
    connect(m_start, &QPushButton::clicked, this, [this] { m_viewModel.startService(); });
    connect(m_stop, &QPushButton::clicked, this, [this] { m_viewModel.stopService(); });
    connect(m_restart, &QPushButton::clicked, this, [this] { m_viewModel.restartService(); });
    connect(m_check, &QPushButton::clicked, this, [this] { m_viewModel.checkNow(); });
    Theme::makeProminent(*m_start);
    for (auto* button : {m_start, m_stop}) {
        Theme::makeLarge(*button);
    }

    auto* texts = new QVBoxLayout;
    texts->setSpacing(8);
    texts->addStretch();
    texts->addWidget(m_title);
    texts->addWidget(m_explanation);
    texts->addWidget(m_route);
    texts->addStretch();

    auto* smallCommands = new QHBoxLayout;
    smallCommands->setSpacing(8);
    smallCommands->addWidget(m_restart);
    smallCommands->addWidget(m_check);

    auto* commands = new QVBoxLayout;
    commands->setSpacing(10);
    commands->addStretch();
    commands->addWidget(m_start, 0, Qt::AlignRight);
    commands->addWidget(m_stop, 0, Qt::AlignRight);
    commands->addLayout(smallCommands);
    commands->setAlignment(smallCommands, Qt::AlignRight);
    commands->addStretch();

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(22, 22, 22, 22);
    layout->setSpacing(20);
    layout->addWidget(m_badge, 0, Qt::AlignVCenter);
    layout->addLayout(texts, 1);
    layout->addLayout(commands);
}

void StatusHeroPanel::refresh(const QString& targetText) {
    m_targetText = targetText;
    const auto status = m_viewModel.serviceStatus();
    const auto color = Theme::statusColor(status, palette());
    setFillColor(Theme::withOpacity(color, fillOpacity));
    setOutlineColor(Theme::withOpacity(color, outlineOpacity));
    m_badge->setStatus(Theme::statusSymbol(status), color);
    m_title->setText(Theme::heroTitle(status));
    Theme::setTextColor(*m_title, color);
    m_explanation->setText(Theme::heroExplanation(status));
    m_route->setText(Theme::listenAddressText(m_viewModel.configInUse()) +
                     QStringLiteral("  ->  ") + targetText);
    Theme::setTextColor(*m_route, Theme::secondaryColor(palette()));
}

void StatusHeroPanel::changeEvent(QEvent* event) {
    RoundedPanel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        refresh(m_targetText);
    }
}

} // namespace velquor
