#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

namespace velquor {

// Keeps one qarvex per user: the first one listens on a local socket; a later one finds it
// there, asks it to show its window, and steps aside.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    explicit SingleInstance(QString serverName = defaultServerName(), QObject* parent = nullptr);

    // True when this process is the one instance. False when another answered; that one has
    // been asked to show its window.
    bool claim();

    static QString defaultServerName();

signals:
    // Another launch asked this instance to show itself.
    void activationRequested();

private:
    bool askRunningInstanceToShow();

    QString m_serverName;
    QLocalServer m_server;
};

} // namespace velquor
