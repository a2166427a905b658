#pragma once

#include "VelquorApp/Notifications/DesktopNotifying.h"

#include <QDBusConnection>
#include <QObject>

#include <functional>

class QSystemTrayIcon;

namespace velquor {

// Sends notifications to org.freedesktop.Notifications on the given bus (the session bus in
// the application). Where no such service answers, or there is no bus, the fallback shows them
// instead. The call is asynchronous: the user interface never waits for the notification
// server.
class FreedesktopNotifier : public QObject, public DesktopNotifying {
    Q_OBJECT
public:
    using Fallback = std::function<void(const DesktopNotification&)>;

    FreedesktopNotifier(QDBusConnection bus, Fallback fallback, QObject* parent = nullptr);

    void notify(const DesktopNotification& notification) override;

    // The tray's balloon message with the application's icon, for desktops without a
    // notification server. Does nothing once the tray icon is gone.
    static Fallback trayMessage(QSystemTrayIcon* tray);

private:
    QDBusConnection m_bus;
    Fallback m_fallback;
};

} // namespace velquor
