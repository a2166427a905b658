#include "VelquorApp/MainWindowView/StatusPage.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/DetailGrid.h"
#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/PageHeader.h"
#include "VelquorApp/MainWindowView/RoundedPanel.h"
#include "VelquorApp/MainWindowView/StatusHeroPanel.h"
#include "VelquorApp/MainWindowView/StatusQuickGrid.h"
#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QVBoxLayout>

namespace velquor {

StatusPage::StatusPage(AppViewModel& viewModel, QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel) {
    // Set before the children exist, so that they inherit it and size themselves by it.
    setFont(Theme::font(Theme::TextStyle::body));
    m_header = new PageHeader(QStringLiteral("状态总览"),
                              QStringLiteral("确认转发是否正在工作，并执行常用控制。"), this);
    m_hero = new StatusHeroPanel(viewModel, this);
    m_quickGrid = new StatusQuickGrid(viewModel, this);
    m_detailsPanel = new RoundedPanel(this);
    m_details = new DetailGrid(m_detailsPanel);
    auto* detailsLayout = new QVBoxLayout(m_detailsPanel);
    detailsLayout->setContentsMargins(16, 16, 16, 16);
    detailsLayout->addWidget(m_details);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(18);
    layout->addWidget(m_header);
    layout->addWidget(m_hero);
    layout->addWidget(new HealthWarningLine(viewModel, this));
    layout->addWidget(m_quickGrid);
    layout->addWidget(m_detailsPanel);
    layout->addStretch(1);

    for (const auto signal :
         {&AppViewModel::serviceStatusChanged, &AppViewModel::configInUseChanged,
          &AppViewModel::currentTargetChanged, &AppViewModel::socatRuntimeTextChanged,
          &AppViewModel::lastCheckTextChanged, &AppViewModel::lastErrorTextChanged,
          &AppViewModel::socatExecutableTextChanged}) {
        connect(&viewModel, signal, this, &StatusPage::refresh);
    }
    refresh();
}

QString StatusPage::targetText() const {
    const auto& target = m_viewModel.currentTarget();
    if (!target) {
        return QStringLiteral("尚未解析");
    }
    return QString::fromStdString(target->host()) + QLatin1Char(':') +
           QString::number(target->port());
}

void StatusPage::refresh() {
    const auto target = targetText();
    m_hero->refresh(target);
    m_quickGrid->refresh(target);
    m_detailsPanel->setFillColor(Theme::regularMaterial(palette()));
    m_details->setRows({
        {QStringLiteral("动态地址接口"),
         QString::fromStdString(m_viewModel.configInUse().discoveryURL.text)},
        {QStringLiteral("内置转发组件"), m_viewModel.forwarderExecutableText()},
        {QStringLiteral("最近错误"), m_viewModel.lastErrorText()},
    });
}

void StatusPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        m_detailsPanel->setFillColor(Theme::regularMaterial(palette()));
    }
}

} // namespace velquor
