#pragma once

#include <QObject>

class QSocketNotifier;

namespace velquor {

// Turns SIGTERM, SIGINT and SIGHUP (logout, `kill`, Ctrl-C in a terminal) into a signal on the
// main thread, so that the application can stop its forwarder before it ends instead of
// leaving socat behind. One instance per process.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

signals:
    void received(int signalNumber);

private:
    static void handle(int signalNumber);
    void readPending();

    QSocketNotifier* m_notifier = nullptr;
};

} // namespace velquor
