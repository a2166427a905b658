#pragma once

#include "VelquorApp/AppViewModel/AppViewModel.h"

#include <QObject>

#include <memory>

class QSystemTrayIcon;

namespace velquor {

class MainWindowView;
class MenuBarView;

// The application: the one view model of the process, the main window with its three pages and
// the tray icon with its menu. Closing the window ends nothing; only the two quit commands do.
class VelquorApp : public QObject {
    Q_OBJECT

public:
    explicit VelquorApp(std::shared_ptr<ServiceController> controller,
                        AppEnvironment environment = AppEnvironment::forCurrentUser(),
                        QObject* parent = nullptr);
    ~VelquorApp() override;

    AppViewModel& viewModel() const { return *m_viewModel; }
    MainWindowView& mainWindow() const { return *m_window; }
    MenuBarView& menu() const { return *m_menu; }
    QSystemTrayIcon& trayIcon() const { return *m_tray; }

    // Shows, restores and raises the main window.
    void showMainWindow();

private:
    std::unique_ptr<DesktopNotifying> makeNotifier();
    void showTrayState();
    void noteMissingTray();

    std::unique_ptr<AppViewModel> m_viewModel;
    std::unique_ptr<MainWindowView> m_window;
    std::unique_ptr<MenuBarView> m_menu;
    // Last, so that it goes first: it refers to the menu.
    std::unique_ptr<QSystemTrayIcon> m_tray;
};

} // namespace velquor
