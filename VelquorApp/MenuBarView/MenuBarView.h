#pragma once

#include <QMenu>

#include <functional>

class QAction;

namespace velquor {

class AppViewModel;

// The tray menu: the product name and three status lines (inactive items), opening the window, the
// four service commands and quitting. Its texts follow the view model while it is open.
class MenuBarView : public QMenu {
    Q_OBJECT

public:
    MenuBarView(AppViewModel& viewModel, std::function<void()> openMainWindow,
                std::function<void()> quitApp, QWidget* parent = nullptr);

    QAction& statusLine() const { return *m_status; }
    QAction& listenLine() const { return *m_listen; }
    QAction& processLine() const { return *m_process; }
    // In the menu, after the status lines, only while the health checks warn.
    QAction& warningLine() const { return *m_warning; }

private:
    QAction* addCommand(const QString& text, const QString& symbol, std::function<void()> action);
    void showState();

    AppViewModel& m_viewModel;
    QAction* m_status = nullptr;
    QAction* m_listen = nullptr;
    QAction* m_process = nullptr;
    QAction* m_warning = nullptr;
    QAction* m_statusLinesEnd = nullptr;
};

} // namespace velquor
