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
    uint Notify(const QString& appName, uint, const QString&, const QString& summary,
                const QString& body, const QStringList&, const QVariantMap& hints, int) {
        calls << QStringList{appName, summary, body, hints.value("desktop-entry").toString()}.join(
            '|');
        return static_cast<uint>(calls.size());
    }
};

// A session bus of the test's own: no desktop's notification server, nothing activated.
class PrivateSessionBus {
public:
    PrivateSessionBus() {
        const auto config = m_directory / "bus.conf";
        test::writeFile(config, "<busconfig><type>session</type><listen>unix:dir=" +
                                    m_directory.path().string() +
                                    "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                                    "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                                    "<allow own=\"*\"/></policy></busconfig>");
        m_daemon.start(
            QStringLiteral("dbus-daemon"),
            {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
             QStringLiteral("--config-file=") + QString::fromStdString(config.string())});
        if (m_daemon.waitForStarted(30000) && m_daemon.waitForReadyRead(30000)) {
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        }
    }
    ~PrivateSessionBus() {
        for (const auto& name : m_connections) {
            QDBusConnection::disconnectFromBus(name);
        }
        m_daemon.kill();
        m_daemon.waitForFinished(30000);
    }

    const QString& address() const { return m_address; }

    QDBusConnection connect(const QString& name) {
        m_connections << name;
        return QDBusConnection::connectToBus(m_address, name);
    }

private:
    test::TemporaryDirectory m_directory;
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

const DesktopNotification warning = DesktopNotification::warning(
    {3, std::chrono::system_clock::from_time_t(0),
     HealthFindings{.cachedTargetUsed = TargetEndpoint("10.0.0.9", 3260),
                    .targetRefusing = TargetEndpoint("10.0.0.9", 3260),
                    .failedWith = std::nullopt}});

TEST(FreedesktopNotifier, SendsTheNotificationToTheServerOnTheBusOrFallsBackWithoutOne) {
    PrivateSessionBus bus;
    if (bus.address().isEmpty()) {
        GTEST_SKIP() << "no dbus-daemon to run a private session bus";
    }
    NotificationServer server;
    auto serverConnection = bus.connect(QStringLiteral("notification-server"));
    ASSERT_TRUE(serverConnection.registerObject(QStringLiteral("/org/freedesktop/Notifications"),
                                                &server, QDBusConnection::ExportAllSlots));

    std::vector<DesktopNotification> fellBack;
    FreedesktopNotifier notifier(
        bus.connect(QStringLiteral("qarvex")),
        [&](const auto& notification) { fellBack.push_back(notification); });

    // Nobody owns the name yet: the bus refuses the call and the fallback shows it.
    notifier.notify(warning);
    ASSERT_TRUE(test::waitFor([&] { return fellBack.size() == 1; }));
    EXPECT_EQ(fellBack.front(), warning);

    ASSERT_TRUE(serverConnection.registerService(QStringLiteral("org.freedesktop.Notifications")));
    notifier.notify(warning);
    ASSERT_TRUE(test::waitFor([&] { return server.calls.size() == 1; }));
    EXPECT_EQ(
        server.calls.front(),
        QStringLiteral("Qarvex|Qarvex 连接异常|健康检查已连续失败 3 次（自 %1 起）：无法访问发现"
                       "地址，正在使用缓存的目标 10.0.0.9:3260；目标 10.0.0.9:3260 无法连接|qarvex")
            .arg(QDateTime::fromSecsSinceEpoch(0).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))));
    EXPECT_EQ(fellBack.size(), 1U);
}

TEST(FreedesktopNotifier, FallsBackAtOnceWithoutABus) {
    std::vector<DesktopNotification> fellBack;
    FreedesktopNotifier notifier(
        QDBusConnection(QStringLiteral("never connected")),
        [&](const auto& notification) { fellBack.push_back(notification); });
    notifier.notify(DesktopNotification::recovery(5));
    ASSERT_EQ(fellBack.size(), 1U);
    EXPECT_EQ(fellBack.front().body, QStringLiteral("健康检查已恢复正常（此前连续失败 5 次）。"));
}

} // namespace
} // namespace velquor

#include "FreedesktopNotifierTest.moc"
