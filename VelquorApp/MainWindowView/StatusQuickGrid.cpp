#include "VelquorApp/MainWindowView/StatusQuickGrid.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/StatusTile.h"
#include "VelquorApp/MainWindowView/Theme.h"

#include <QHBoxLayout>

namespace velquor {

StatusQuickGrid::StatusQuickGrid(const AppViewModel& viewModel, QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel),
      m_listen(new StatusTile(QStringLiteral("本地监听"), {}, QStringLiteral("network"), this)),
      m_target(new StatusTile(QStringLiteral("当前目标"), {},
                              QStringLiteral("arrow.forward.circle"), this)),
      m_process(new StatusTile(QStringLiteral("转发进程"), {}, QStringLiteral("terminal"), this)),
      m_lastCheck(new StatusTile(QStringLiteral("上次检查"), {}, QStringLiteral("clock"), this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    for (auto* tile : {m_listen, m_target, m_process, m_lastCheck}) {
        layout->addWidget(tile, 1);
    }
}

void StatusQuickGrid::refresh(const QString& targetText) {
    m_listen->setValue(Theme::listenAddressText(m_viewModel.configInUse()));
    m_target->setValue(targetText);
    m_process->setValue(Theme::forwardingProcessText(m_viewModel.socatRuntimeText()));
    m_lastCheck->setValue(m_viewModel.lastCheckText());
}

} // namespace velquor
