#include "VelquorApp/VelquorApp/SingleInstance.h"

#include <QDir>
#include <QLocalSocket>

#include <unistd.h>

namespace velquor {

namespace {

constexpr int handOverTimeoutMs = 1000;
const QByteArray showRequest = "show\n";

} // namespace

SingleInstance::SingleInstance(QString serverName, QObject* parent)
    : QObject(parent), m_serverName(std::move(serverName)) {
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = m_server.nextPendingConnection()) {
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                if (client->readAll().contains(showRequest.trimmed())) {
                    emit activationRequested();
                }
                client->disconnectFromServer();
            });
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        }
    });
}

QString SingleInstance::defaultServerName() {
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtimeFolder)) {
        return QDir(runtimeFolder).filePath(QStringLiteral("com.dravenloe.velquor.qarvex"));
    }
    return QStringLiteral("com.dravenloe.velquor.qarvex-%1").arg(::getuid());
}

bool SingleInstance::askRunningInstanceToShow() {
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    if (!socket.waitForConnected(handOverTimeoutMs)) {
        return false;
    }
    socket.write(showRequest);
    socket.waitForBytesWritten(handOverTimeoutMs);
    socket.waitForDisconnected(handOverTimeoutMs);
    return true;
}

bool SingleInstance::claim() {
    if (askRunningInstanceToShow()) {
        return false;
    }
    // Nobody answered: a socket file left by a crashed instance must not block this one.
    QLocalServer::removeServer(m_serverName);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(m_serverName)) {
        m_listenError = m_server.errorString();
    }
    return true;
}

} // namespace velquor
