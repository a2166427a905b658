#pragma once

#include "core/process/ProcessExitWatch.h"
#include "core/process/RestartBackoff.h"
#include "core/service/EarlyCheckSchedule.h"
#include "core/service/ForwarderOutputWatch.h"
#include "core/service/ServiceSnapshot.h"
#include "core/system/NetworkChangeMonitor.h"
#include "core/system/ResumeDetector.h"
#include "core/system/WakeUpWatch.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QSocketNotifier;

namespace velquor {

// Asks for a health check before the interval runs out: at once (after a back-off) when the
// forwarder we started, or one an earlier run left on our port, exits without being asked to;
// at once (at most every 5 s) when socat reports a connection it could not make to the target;
// and once the network has settled after a resume from suspend or a change of routes or
// addresses. Every event arrives through the event loop; no thread waits for the child, whose
// reaping stays with the controller.
class EarlyChecks : public QObject {
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;
    // The wait between periodic checks, already clamped to what a timer holds.
    using Interval = std::function<std::chrono::milliseconds()>;
    using Now = std::function<Clock::time_point()>;

    explicit EarlyChecks(Interval checkInterval, Now now = Clock::now, QObject* parent = nullptr);
    ~EarlyChecks() override;

    // Opens the resume and network watches; a line for the log tells when one is unavailable.
    void watchSystem();
    // Reads what socat writes to the pipe with that read end: relayed to our standard error,
    // and its failed connections checked and warned of.
    void watchForwarderOutput(int descriptor);

    // Watches the forwarder the snapshot reports as ours, unless it is the one already watched
    // or one whose exit was already reported.
    void follow(const ServiceSnapshot& snapshot);
    // Before a command of ours that may end the forwarder: its exit is then no surprise.
    void dropExitWatch();
    // Before a command that may also start one (a check, a start): a forwarder found gone after
    // it is that new one, whose exit counts on its own although we never saw it run.
    void mayStartForwarder();
    // A user's start or stop: earlier exits no longer count towards the back-off.
    void resetBackoff() { m_backoff.reset(); }
    // After each health check: an early one that could not reach discovery is tried once more,
    // and a failed connection seen since waits 5 s from this end before it brings another.
    void checkFinished(const ServiceSnapshot& snapshot);

signals:
    void checkWanted(std::chrono::milliseconds delay);
    void noteWanted(const QString& line);

private:
    void forwarderExited();
    // A snapshot still says running while nothing listens.
    void forwarderVanished();
    // Back-off, its line, then the check: for an exit seen by the watch or by a snapshot.
    // The exit line, when the watch saw the exit, goes first, as qarvexd logs it.
    void reportExit(std::int32_t process, const std::string& exitLine = {});
    void systemChanged(bool resumed, bool networkChanged);
    void armSchedule();
    void runScheduled();
    void readForwarderOutput();
    void takeForwarderFindings();

    Interval m_checkInterval;
    Now m_now;
    RestartBackoff m_backoff;
    std::optional<ProcessExitWatch> m_exitWatch;
    std::unique_ptr<QSocketNotifier> m_exitNotifier;
    // Its exit was counted; a snapshot taken before it ended may still show it.
    std::optional<std::int32_t> m_exitedProcess;
    // The forwarder last seen running, until its exit is counted.
    std::optional<std::int32_t> m_followedProcess;
    // The forwarder being gone is counted already: only one started since counts again.
    bool m_goneCounted = false;
    // Keys for forwarders that ended before we saw their pid; no process has one.
    std::int32_t m_lastUnseen = 0;

    EarlyCheckSchedule m_schedule;
    QTimer m_scheduleTimer;
    ResumeDetector m_resumeDetector;
    std::optional<WakeUpWatch> m_wakeUp;
    std::optional<NetworkChangeMonitor> m_network;
    std::unique_ptr<QSocketNotifier> m_wakeUpNotifier;
    std::unique_ptr<QSocketNotifier> m_networkNotifier;

    std::optional<ForwarderOutputWatch> m_output;
    std::unique_ptr<QSocketNotifier> m_outputNotifier;
    QTimer m_outputTimer;
};

} // namespace velquor
