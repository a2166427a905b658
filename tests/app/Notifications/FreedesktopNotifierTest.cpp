#include "VelquorApp/Notifications/FreedesktopNotifier.h"

#include "tests/app/AppHarness.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <QDBusConnection>
#include <QProcess>
#include <gtest/gtest.h>

namespace velquor {
namespace {

// The notification server of a desktop, reduced to remembering what it was asked to show.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QStringList calls;

public slots:
    uint Notify(const QString& appName, uint, const QString& appIcon, const QString& summary,
                const QString& body, const QStringList&, const QVariantMap& hints, int) {
        calls << QStringList{appName, appIcon, summary, body, hints["desktop-entry"].toString()}
                     .join('|');
        return static_cast<uint>(calls.size());
    }
};

// A session bus of the test's own: no desktop's notification server, nothing activated.
struct PrivateSessionBus {
    test::TemporaryDirectory directory;
    QProcess daemon;
    QString address; // empty when the daemon did not start

    PrivateSessionBus() {
        const auto config = directory / "bus.conf";
        test::writeFile(
            config, "<busconfig><type>session</type><listen>unix:dir=" + directory.path().string() +
                        "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                        "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                        "<allow own=\"*\"/></policy></busconfig>");
        daemon.start(QStringLiteral("dbus-daemon"),
                     {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                      QStringLiteral("--config-file=") + QString::fromStdString(config.string())});
        if (daemon.waitForStarted(30000) && daemon.waitForReadyRead(30000)) {
            address = QString::fromUtf8(daemon.readLine()).trimmed();
        }
    }
    ~PrivateSessionBus() {
        QDBusConnection::disconnectFromBus(QStringLiteral("notification-server"));
        QDBusConnection::disconnectFromBus(QStringLiteral("qarvex"));
        daemon.kill();
        daemon.waitForFinished(30000);
    }
    QDBusConnection connect(const QString& name) const {
        return QDBusConnection::connectToBus(address, name);
    }
};

const auto warning = DesktopNotification::warning(
    {3, {}, {TargetEndpoint("10.0.0.9", 3260), TargetEndpoint("10.0.0.9", 3260), std::nullopt}});

TEST(FreedesktopNotifier, SendsTheNotificationToTheServerOnTheBusOrFallsBackWithoutOne) {
    std::vector<DesktopNotification> fellBack;
    const auto fallBack = [&](const auto& notification) { fellBack.push_back(notification); };
    FreedesktopNotifier(QDBusConnection(QStringLiteral("never connected")), fallBack)
        .notify(DesktopNotification::recovery(5));
    ASSERT_EQ(fellBack.size(), 1U) << "without a bus at once";
    EXPECT_EQ(fellBack.front().body, QStringLiteral("健康检查已恢复正常（此前连续失败 5 次）。"));
    fellBack.clear();

    PrivateSessionBus bus;
    if (bus.address.isEmpty()) {
        GTEST_SKIP() << "no dbus-daemon to run a private session bus";
    }
    NotificationServer server;
    auto serverConnection = bus.connect(QStringLiteral("notification-server"));
    ASSERT_TRUE(serverConnection.registerObject(QStringLiteral("/org/freedesktop/Notifications"),
                                                &server, QDBusConnection::ExportAllSlots));

    FreedesktopNotifier notifier(bus.connect(QStringLiteral("qarvex")), fallBack);

    // Nobody owns the name yet: the bus refuses the call and the fallback shows it.
    notifier.notify(warning);
    ASSERT_TRUE(test::waitFor([&] { return fellBack.size() == 1; }));
    EXPECT_EQ(fellBack.front(), warning);

    ASSERT_TRUE(serverConnection.registerService(QStringLiteral("org.freedesktop.Notifications")));
    notifier.notify(warning);
    ASSERT_TRUE(test::waitFor([&] { return server.calls.size() == 1; }));
    EXPECT_EQ(
        server.calls.front(),
        QStringLiteral(
            "Qarvex|qarvex|Qarvex 连接异常|健康检查已连续失败 3 次（自 %1 起）：无法"
            "访问发现地址，正在使用缓存的目标 10.0.0.9:3260；目标 10.0.0.9:3260 无法连接|qarvex")
            .arg(QDateTime::fromSecsSinceEpoch(0).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))));
    EXPECT_EQ(fellBack.size(), 1U);
}

} // namespace
} // namespace velquor

#include "FreedesktopNotifierTest.moc"
