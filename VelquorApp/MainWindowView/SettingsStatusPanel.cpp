#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/CapsuleLabel.h"
#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/SeparatorLine.h"
#include "VelquorApp/MainWindowView/StatusBadge.h"
#include "VelquorApp/MainWindowView/StatusMetric.h"
#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <initializer_list>

namespace velquor {

namespace {

// The style pads a button's text only a little, so that a long label such as "检查动态端口"
// touches the frame; the buttons of a column also read better at one width.
void giveRoomToText(std::initializer_list<QPushButton*> buttons) {
    int width = 0;
    for (auto* button : buttons) {
        const QFontMetrics metrics(button->font());
        width = std::max(width, metrics.horizontalAdvance(button->text()) + 2 * metrics.height());
    }
    for (auto* button : buttons) {
        button->setMinimumWidth(width);
    }
}

} // namespace

SettingsStatusPanel::SettingsStatusPanel(AppViewModel& viewModel, QWidget* parent)
    : RoundedPanel(parent), m_viewModel(viewModel),
      m_badge(new StatusBadge(badgeDiameter, Theme::symbolPixelSize(26), 0, this)),
      m_title(new QLabel(this)), m_stateBadge(new CapsuleLabel(this)),
      m_explanation(new QLabel(this)), m_listenAddress(new QLabel(this)),
      m_check(new QPushButton(QStringLiteral("检查动态端口"), this)),
      m_start(new QPushButton(QStringLiteral("启动"), this)),
      m_stop(new QPushButton(QStringLiteral("停止"), this)), m_divider(new SeparatorLine(this)),
      m_process(new StatusMetric(QStringLiteral("转发进程"), {}, this)),
      m_pid(new StatusMetric(QStringLiteral("进程 PID"), {}, this)),
      m_lastCheck(new StatusMetric(QStringLiteral("上次检查"), {}, this)),
      m_lastError(new StatusMetric(QStringLiteral("最近错误"), {}, this)) {
    m_title->setObjectName(QStringLiteral("settingsStatusTitle"));
    m_explanation->setObjectName(QStringLiteral("settingsStatusExplanation"));
    m_listenAddress->setObjectName(QStringLiteral("settingsListenAddress"));
    auto title = Theme::font(Theme::TextStyle::title2);
    title.setBold(true);
    m_title->setFont(title);
    auto badge = Theme::font(Theme::TextStyle::caption);
    badge.setBold(true);
    m_stateBadge->setFont(badge);
    m_explanation->setWordWrap(true);
    m_listenAddress->setFont(Theme::monospacedFont(Theme::TextStyle::callout));
    m_listenAddress->setTextInteractionFlags(Qt::TextSelectableByMouse);

    // The commands return at once; the view model runs them and publishes what they did.
    connect(m_check, &QPushButton::clicked, this, [this] { m_viewModel.checkNow(); });
    connect(m_start, &QPushButton::clicked, this, [this] { m_viewModel.startService(); });
    connect(m_stop, &QPushButton::clicked, this, [this] { m_viewModel.stopService(); });
    Theme::makeProminent(*m_start);
    giveRoomToText({m_check});
    giveRoomToText({m_start, m_stop});

    auto* heading = new QHBoxLayout;
    heading->setSpacing(8);
    heading->addWidget(m_title, 0, Qt::AlignVCenter);
    heading->addWidget(m_stateBadge, 0, Qt::AlignVCenter);
    heading->addStretch(1);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(5);
    texts->addLayout(heading);
    texts->addWidget(m_explanation);
    texts->addWidget(m_listenAddress);

    auto* startStop = new QHBoxLayout;
    startStop->setSpacing(8);
    startStop->addWidget(m_start);
    startStop->addWidget(m_stop);

    auto* commands = new QVBoxLayout;
    commands->setSpacing(8);
    commands->addWidget(m_check, 0, Qt::AlignRight);
    commands->addLayout(startStop);
    commands->setAlignment(startStop, Qt::AlignRight);
    commands->addStretch(1);

    auto* top = new QHBoxLayout;
    top->setSpacing(14);
    top->addWidget(m_badge, 0, Qt::AlignTop);
    top->addLayout(texts, 1);
    top->addLayout(commands);

    // Top-aligned rather than centred: a value that wraps to a second line then leaves the
    // captions of the row level.
    auto* metrics = new QHBoxLayout;
    metrics->setSpacing(18);
    for (auto* metric : {m_process, m_pid, m_lastCheck, m_lastError}) {
        metrics->addWidget(metric, 1, Qt::AlignTop);
    }

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 18, 18, 18);
    layout->setSpacing(14);
    layout->addLayout(top);
    layout->addWidget(m_divider);
    layout->addLayout(metrics);
    layout->addWidget(new HealthWarningLine(viewModel, this));

    for (const auto signal :
         {&AppViewModel::serviceStatusChanged, &AppViewModel::configInUseChanged,
          &AppViewModel::socatRuntimeTextChanged, &AppViewModel::processIdentifierTextChanged,
          &AppViewModel::lastCheckTextChanged, &AppViewModel::lastErrorTextChanged}) {
        connect(&viewModel, signal, this, &SettingsStatusPanel::refresh);
    }
    refresh();
}

void SettingsStatusPanel::refresh() {
    const auto status = m_viewModel.serviceStatus();
    const auto color = Theme::statusColor(status, palette());
    setFillColor(Theme::regularMaterial(palette()));
    setOutlineColor(Theme::withOpacity(color, outlineOpacity));
    m_badge->setStatus(Theme::statusSymbol(status), color);
    m_title->setText(Theme::settingsTitle(status));
    Theme::setTextColor(*m_title, color);
    m_stateBadge->setText(Theme::settingsBadge(status));
    m_stateBadge->setCapsuleColor(Theme::withOpacity(color, stateBadgeOpacity));
    Theme::setTextColor(*m_stateBadge, color);
    m_explanation->setText(Theme::settingsExplanation(status));
    Theme::setTextColor(*m_explanation, Theme::secondaryColor(palette()));
    m_listenAddress->setText(Theme::listenAddressText(m_viewModel.configInUse()));
    Theme::setTextColor(*m_listenAddress, Theme::secondaryColor(palette()));
    m_process->setValue(Theme::forwardingProcessText(m_viewModel.socatRuntimeText()));
    m_pid->setValue(m_viewModel.processIdentifierText());
    m_lastCheck->setValue(m_viewModel.lastCheckText());
    m_lastError->setValue(m_viewModel.lastErrorText());
}

void SettingsStatusPanel::changeEvent(QEvent* event) {
    RoundedPanel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        refresh();
    }
}

} // namespace velquor
