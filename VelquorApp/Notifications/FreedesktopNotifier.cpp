#include "VelquorApp/Notifications/FreedesktopNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QGuiApplication>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QVariantMap>

namespace velquor {
namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
// Never expire on the server's behalf; the desktop decides.
constexpr int defaultTimeout = -1;

} // namespace

FreedesktopNotifier::FreedesktopNotifier(QDBusConnection bus, Fallback fallback, QObject* parent)
    : QObject(parent), m_bus(std::move(bus)), m_fallback(std::move(fallback)) {}

void FreedesktopNotifier::notify(const DesktopNotification& notification) {
    if (!m_bus.isConnected()) {
        m_fallback(notification);
        return;
    }
    auto message = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    // The icon is the installed one that the desktop entry names; the entry lets the shell show
    // our name and group our messages.
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("qarvex")}};
    message << QStringLiteral("Qarvex") << 0U << QStringLiteral("qarvex") << notification.title
            << notification.body << QStringList() << hints << defaultTimeout;
    // Owned by this object: a reply arriving after it is gone finds no one to call.
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, notification](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                if (finished->isError()) {
                    m_fallback(notification);
                }
            });
}

FreedesktopNotifier::Fallback FreedesktopNotifier::trayMessage(QSystemTrayIcon* tray) {
    return [tray = QPointer<QSystemTrayIcon>(tray)](const DesktopNotification& notification) {
        if (!tray) {
            return;
        }
        // The application's own icon, as on the desktop's notifications; the title tells a
        // warning from good news.
        tray->showMessage(notification.title, notification.body, QGuiApplication::windowIcon());
    };
}

} // namespace velquor
