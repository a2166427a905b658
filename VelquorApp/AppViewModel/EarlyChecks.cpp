#include "VelquorApp/AppViewModel/EarlyChecks.h"

#include "core/service/ForwarderToWatch.h"

#include <QSocketNotifier>

#include <algorithm>
#include <system_error>

namespace velquor {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

void arm(QTimer& timer, std::optional<EarlyChecks::Clock::time_point> due,
         EarlyChecks::Clock::time_point now) {
    if (!due) {
        timer.stop();
        return;
    }
    // Rounded up: a wait cut short finds nothing due and would re-arm at once.
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - now);
    timer.start(std::max(wait, std::chrono::milliseconds(0)));
}

} // namespace

EarlyChecks::EarlyChecks(Interval checkInterval, Now now, QObject* parent)
    : QObject(parent), m_checkInterval(std::move(checkInterval)), m_now(std::move(now)) {
    m_scheduleTimer.setSingleShot(true);
    connect(&m_scheduleTimer, &QTimer::timeout, this, &EarlyChecks::runScheduled);
    m_outputTimer.setSingleShot(true);
    connect(&m_outputTimer, &QTimer::timeout, this, &EarlyChecks::takeForwarderFindings);
}

EarlyChecks::~EarlyChecks() {
    // Each notifier goes before the descriptor it watches.
    dropExitWatch();
    m_wakeUpNotifier.reset();
    m_networkNotifier.reset();
    m_outputNotifier.reset();
}

void EarlyChecks::watchSystem() {
    try {
        m_wakeUp.emplace();
        m_wakeUpNotifier =
            std::make_unique<QSocketNotifier>(m_wakeUp->descriptor(), QSocketNotifier::Read);
        connect(m_wakeUpNotifier.get(), &QSocketNotifier::activated, this, [this] {
            const bool woke = m_wakeUp->drain();
            systemChanged(woke && m_resumeDetector.sleptSinceLastLook().has_value(), false);
        });
    } catch (const std::system_error& error) {
        emit noteWanted(QStringLiteral("Resume from suspend not watched: ") +
                        QString::fromUtf8(error.what()));
    }
    try {
        m_network.emplace();
        m_networkNotifier =
            std::make_unique<QSocketNotifier>(m_network->descriptor(), QSocketNotifier::Read);
        connect(m_networkNotifier.get(), &QSocketNotifier::activated, this,
                [this] { systemChanged(false, m_network->drain()); });
    } catch (const std::system_error& error) {
        emit noteWanted(QStringLiteral("Network changes not watched: ") +
                        QString::fromUtf8(error.what()));
    }
}

// --- the forwarder's exit ---

void EarlyChecks::follow(const ServiceSnapshot& snapshot) {
    const auto shown = ForwarderToWatch::processIdentifier(snapshot);
    if (!shown) {
        m_exitedProcess.reset(); // the controller has seen it gone
        // Still "running" with nothing listening: our forwarder ended before the snapshot that
        // would have armed its watch reached us, for example right after its start.
        const bool vanished =
            snapshot.status == ServiceStatus::running &&
            snapshot.socatRuntimeStatus.kind == SocatRuntimeStatus::Kind::notListening;
        if (!vanished) {
            m_goneCounted = false;
        } else if (!m_goneCounted && !m_exitWatch) {
            forwarderVanished();
        }
        return;
    }
    const auto process = *shown;
    if (process == m_exitedProcess ||
        (m_exitWatch && m_exitWatch->processIdentifier() == process)) {
        return;
    }
    m_goneCounted = false;
    m_exitedProcess.reset();
    m_followedProcess = process;
    dropExitWatch();
    m_exitWatch = ForwarderToWatch::open(snapshot);
    if (!m_exitWatch) {
        return; // gone already or not provably ours: the next check finds out
    }
    m_backoff.started(process, m_now());
    m_exitNotifier =
        std::make_unique<QSocketNotifier>(m_exitWatch->descriptor(), QSocketNotifier::Read);
    connect(m_exitNotifier.get(), &QSocketNotifier::activated, this, &EarlyChecks::forwarderExited);
}

void EarlyChecks::dropExitWatch() {
    m_exitNotifier.reset();
    m_exitWatch.reset();
}

void EarlyChecks::mayStartForwarder() {
    dropExitWatch();
    m_goneCounted = false;
}

void EarlyChecks::forwarderExited() {
    const auto process = m_exitWatch->processIdentifier();
    const auto exitLine = m_exitWatch->exitLine();
    m_exitedProcess = process;
    // Deleted later: this runs inside the notifier's own signal.
    m_exitNotifier->setEnabled(false);
    m_exitNotifier.release()->deleteLater();
    m_exitWatch.reset();
    reportExit(process, exitLine);
}

void EarlyChecks::forwarderVanished() {
    // The one we followed, unless its exit was counted: then one started since, never seen.
    if (!m_followedProcess) {
        m_followedProcess = --m_lastUnseen;
    }
    const auto process = *m_followedProcess;
    reportExit(process, process > 0 ? ProcessExitWatch::exitLine(process) : std::string());
}

void EarlyChecks::reportExit(std::int32_t process, const std::string& exitLine) {
    m_followedProcess.reset();
    m_goneCounted = true;
    const auto decision = m_backoff.exited(process, m_now(), m_checkInterval());
    if (!decision) {
        return;
    }
    for (const auto& line : decision->lines(exitLine)) {
        emit noteWanted(qt(line));
    }
    emit checkWanted(decision->delay);
}

// --- the forwarded traffic ---

void EarlyChecks::watchForwarderOutput(int descriptor) {
    m_output.emplace(descriptor);
    m_outputNotifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    connect(m_outputNotifier.get(), &QSocketNotifier::activated, this,
            &EarlyChecks::readForwarderOutput);
}

void EarlyChecks::readForwarderOutput() {
    m_output->read(m_now());
    if (m_output->descriptor() < 0) {
        // Nothing more will come, and its descriptor would wake us for ever. Deleted later:
        // this runs inside the notifier's own signal.
        m_outputNotifier->setEnabled(false);
        m_outputNotifier.release()->deleteLater();
    }
    takeForwarderFindings();
}

void EarlyChecks::takeForwarderFindings() {
    const auto due = m_output->takeDue(m_now());
    for (const auto& line : due.lines) {
        emit noteWanted(qt(line));
    }
    if (due.check) {
        emit checkWanted(std::chrono::milliseconds(0));
    }
    arm(m_outputTimer, m_output->dueAt(), m_now());
}

// --- resume and network changes ---

void EarlyChecks::systemChanged(bool resumed, bool networkChanged) {
    const auto now = m_now();
    if (resumed) {
        m_schedule.resumed(now);
    }
    if (networkChanged) {
        m_schedule.networkChanged(now);
    }
    armSchedule();
}

void EarlyChecks::armSchedule() {
    arm(m_scheduleTimer, m_schedule.dueAt(), m_now());
}

void EarlyChecks::runScheduled() {
    if (const auto line = m_schedule.takeDue(m_now())) {
        emit noteWanted(qt(*line));
        emit checkWanted(std::chrono::milliseconds(0));
    }
    armSchedule();
}

void EarlyChecks::checkFinished(const ServiceSnapshot& snapshot) {
    m_schedule.checkFinished(!snapshot.lastError.has_value(), m_now());
    armSchedule();
    if (m_output) {
        m_output->checked(m_now());
        arm(m_outputTimer, m_output->dueAt(), m_now());
    }
}

} // namespace velquor
