#include "VelquorApp/VelquorApp/VelquorApp.h"

#include "VelquorApp/AppIconView/AppRuntimeIcon.h"
#include "VelquorApp/AppWindowPresenter/AppWindowPresenter.h"
#include "VelquorApp/MainWindowView/HealthWarningLine.h"
#include "VelquorApp/MainWindowView/LogsPage.h"
#include "VelquorApp/MainWindowView/MainWindowView.h"
#include "VelquorApp/MainWindowView/SettingsPage.h"
#include "VelquorApp/MainWindowView/StatusPage.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/MenuBarView/MenuBarView.h"
#include "VelquorApp/Notifications/FreedesktopNotifier.h"
#include "VelquorApp/Notifications/ThrottledNotifier.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QDBusConnection>
#include <QSystemTrayIcon>

namespace velquor {

namespace {

// Tray icons are drawn small; the icon engine scales the glyph sharply to what the panel asks.
constexpr int trayIconSize = 22;

} // namespace

VelquorApp::VelquorApp(std::shared_ptr<ServiceController> controller, AppEnvironment environment,
                       QObject* parent)
    : QObject(parent), m_viewModel(std::make_unique<AppViewModel>(
                           std::move(controller), std::move(environment), makeNotifier())) {
    AppRuntimeIcon::install();
    auto& model = *m_viewModel;
    m_window = std::make_unique<MainWindowView>(
        model, std::map<AppSection, QWidget*>{{AppSection::status, new StatusPage(model)},
                                              {AppSection::settings, new SettingsPage(model)},
                                              {AppSection::logs, new LogsPage(model)}});
    m_menu = std::make_unique<MenuBarView>(
        model, [this] { showMainWindow(); }, [this] { m_viewModel->quitApplication(); });
    m_tray = std::make_unique<QSystemTrayIcon>();
    m_tray->setContextMenu(m_menu.get());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // The menu opens by itself on a context click; a plain click opens the window.
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
                    showMainWindow();
                }
            });
    connect(&model, &AppViewModel::serviceStatusChanged, this, &VelquorApp::showTrayState);
    connect(&model, &AppViewModel::healthWarningTextChanged, this, &VelquorApp::showTrayState);
    showTrayState();
    m_tray->show();
    noteMissingTray();
}

VelquorApp::~VelquorApp() = default;

std::unique_ptr<DesktopNotifying> VelquorApp::makeNotifier() {
    // The tray icon is made after the view model; the fallback looks for it when it is needed.
    auto trayMessage = [this](const DesktopNotification& notification) {
        if (m_tray) {
            FreedesktopNotifier::trayMessage(m_tray.get())(notification);
        }
    };
    return std::make_unique<ThrottledNotifier>(
        std::make_unique<FreedesktopNotifier>(QDBusConnection::sessionBus(), trayMessage));
}

void VelquorApp::showMainWindow() {
    AppWindowPresenter::showMainWindow(m_window.get());
}

void VelquorApp::showTrayState() {
    const ServiceStatus status = m_viewModel->serviceStatus();
    m_tray->setIcon(
        SymbolIcon::icon(Theme::trayIconSymbol(status), Theme::statusColor(status), trayIconSize));
    auto toolTip = QStringLiteral("Qarvex · ") + Theme::menuWord(status);
    if (const auto& warning = m_viewModel->healthWarningText(); !warning.isEmpty()) {
        toolTip += QStringLiteral("\n") + HealthWarningLine::lineText(warning);
    }
    m_tray->setToolTip(toolTip);
}

void VelquorApp::noteMissingTray() {
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        return;
    }
    m_viewModel->noteInLog(
        QStringLiteral("No system tray is available: closing the main window leaves Qarvex "
                       "running; start qarvex again to show the window, or quit from the "
                       "window's sidebar"));
}

} // namespace velquor
