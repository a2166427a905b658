#include "VelquorApp/MenuBarView/MenuBarView.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

namespace velquor {

namespace {

QAction* addLine(QMenu& menu, const QString& text = {}) {
    auto* line = menu.addAction(text);
    line->setEnabled(false); // a status line, not a command
    return line;
}

} // namespace

MenuBarView::MenuBarView(AppViewModel& viewModel, std::function<void()> openMainWindow,
                         std::function<void()> quitApp, QWidget* parent)
    : QMenu(parent), m_viewModel(viewModel) {
    auto* title = addLine(*this, QStringLiteral("Qarvex"));
    title->setFont(Theme::font(Theme::TextStyle::headline));
    m_status = addLine(*this);
    m_listen = addLine(*this);
    m_process = addLine(*this);
    m_warning = new QAction(this);
    m_warning->setEnabled(false);
    m_statusLinesEnd = addSeparator();
    addCommand(QStringLiteral("打开控制台"), QStringLiteral("macwindow"),
               std::move(openMainWindow));
    addSeparator();
    addCommand(QStringLiteral("启动转发"), QStringLiteral("play.fill"),
               [this] { m_viewModel.startService(); });
    addCommand(QStringLiteral("停止转发"), QStringLiteral("stop.fill"),
               [this] { m_viewModel.stopService(); });
    addCommand(QStringLiteral("重启转发"), QStringLiteral("arrow.clockwise"),
               [this] { m_viewModel.restartService(); });
    addCommand(QStringLiteral("立即检查"), QStringLiteral("checkmark.shield"),
               [this] { m_viewModel.checkNow(); });
    addSeparator();
    addCommand(QStringLiteral("退出 Qarvex"), QStringLiteral("power"), std::move(quitApp));

    for (const auto signal :
         {&AppViewModel::serviceStatusChanged, &AppViewModel::configInUseChanged,
          &AppViewModel::socatRuntimeTextChanged, &AppViewModel::healthWarningTextChanged}) {
        connect(&m_viewModel, signal, this, &MenuBarView::showState);
    }
    showState();
}

QAction* MenuBarView::addCommand(const QString& text, const QString& symbol,
                                 std::function<void()> action) {
    auto* command =
        addAction(SymbolIcon::icon(symbol, palette().color(QPalette::WindowText), 16), text);
    connect(command, &QAction::triggered, this, [action = std::move(action)] { action(); });
    return command;
}

void MenuBarView::showState() {
    m_status->setText(QStringLiteral("状态：") + Theme::menuWord(m_viewModel.serviceStatus()));
    m_listen->setText(QStringLiteral("监听：") +
                      Theme::listenAddressText(m_viewModel.configInUse()));
    m_process->setText(QStringLiteral("转发进程：") +
                       Theme::forwardingProcessText(m_viewModel.socatRuntimeText()));
    const auto& warning = m_viewModel.healthWarningText();
    m_warning->setText(HealthWarningLine::lineText(warning));
    if (warning.isEmpty()) {
        removeAction(m_warning);
    } else if (!actions().contains(m_warning)) {
        insertAction(m_statusLinesEnd, m_warning);
    }
}

} // namespace velquor
