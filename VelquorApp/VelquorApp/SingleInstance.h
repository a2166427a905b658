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

    // True when this process is to run: it is the one instance, or it could not listen for
    // later launches (see listenError). False when another instance answered; that one has
    // been asked to show its window.
    bool claim();
    // Why later launches cannot reach this instance; empty when they can.
    QString listenError() const { return m_listenError; }

    // A socket in the user's own runtime folder; in the temporary folder, named by user, where
    // there is none.
    static QString defaultServerName();

signals:
    // Another launch asked this instance to show itself.
    void activationRequested();

private:
    bool askRunningInstanceToShow();

    QString m_serverName;
    QString m_listenError;
    QLocalServer m_server;
};

} // namespace velquor
