#include "daemon/ServiceLoop.h"

#include "core/process/ChildReaper.h"
#include "core/process/ProcessExitWatch.h"
#include "core/process/RestartBackoff.h"
#include "core/service/CheckInterval.h"
#include "core/service/EarlyCheckSchedule.h"
#include "core/service/FailedStartRetry.h"
#include "core/service/ForwarderOutputWatch.h"
#include "core/service/ForwarderToWatch.h"
#include "core/service/ServiceStatusLine.h"
#include "core/system/DescriptorWait.h"
#include "core/system/NetworkChangeMonitor.h"
#include "core/system/ResumeDetector.h"
#include "core/system/WakeUpWatch.h"
#include "daemon/ServiceManagerUpdates.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <memory>

namespace velquor {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr auto pruneInterval = std::chrono::hours(24);

std::chrono::milliseconds checkInterval(const ServiceSnapshot& snapshot) {
    return CheckInterval::waitFor(snapshot.config.checkIntervalSeconds);
}

// The controller ignores a log it cannot write, and so does forwarding; the user hears of it
// once on standard error (the journal under systemd) and once more when it is written again.
class LogTroubleReport {
public:
    explicit LogTroubleReport(LogMirroring& standardError) : m_standardError(standardError) {}

    void update(const ServiceController& controller) {
        const auto& error = controller.logWriteError();
        if (error && !m_told) {
            tell("WARNING: qarvexd cannot write the log (" + *error +
                 "); forwarding goes on without it");
        } else if (!error && m_told) {
            tell("qarvexd: the log is written again");
        }
        m_told = error.has_value();
    }

private:
    void tell(const std::string& line) {
        m_standardError.mirror(line, std::chrono::system_clock::now());
    }

    LogMirroring& m_standardError;
    bool m_told = false;
};

// A source of early checks that the machine may not offer (netlink refused in a sandbox): the
// service then goes on with its interval alone, and says so once.
template <typename Source>
std::unique_ptr<Source> optionalSource(ServiceController& controller, const char* what) {
    try {
        return std::make_unique<Source>();
    } catch (const std::exception& error) {
        controller.note(std::string("WARNING: ") + what + " not watched: " + error.what());
        return nullptr;
    }
}

template <typename Holder> int descriptorOf(const Holder& source) {
    return source ? source->descriptor() : -1;
}

// Follows the forwarder we started, or one an earlier run left on our port, so that its exit
// is seen the moment it happens. Our own stops, restarts and moves happen inside controller
// operations, after which the watch is matched to the new snapshot again, so what it sees is an
// exit nobody asked for.
class ForwarderWatch {
public:
    void follow(const ServiceSnapshot& snapshot, SteadyClock::time_point now) {
        const auto pid = ForwarderToWatch::processIdentifier(snapshot);
        // A snapshot taken before the exit we saw still shows that forwarder until the delayed
        // check: watched again, its zombie would wake every wait at once until then.
        if (!pid || m_backoff.hasCounted(*pid)) {
            // One that ended after the snapshot before was taken and was reaped since still
            // counts: the next wait sees it at once.
            if (m_watch && !exitedUnseen()) {
                m_watch.reset();
            }
            return;
        }
        if (m_watch && m_watch->processIdentifier() == *pid) {
            return;
        }
        m_watch = ForwarderToWatch::open(snapshot); // without one, the interval still finds it
        if (m_watch) {
            m_backoff.started(*pid, now);
        }
    }

    int descriptor() const { return descriptorOf(m_watch); }

    bool exitedUnseen() const {
        try {
            return m_watch->hasExited();
        } catch (const std::exception&) {
            return false;
        }
    }

    // When to run the health check after the exit, and the lines that say why.
    SteadyClock::time_point exited(ServiceController& controller, SteadyClock::time_point now,
                                   std::chrono::milliseconds interval) {
        const auto pid = m_watch->processIdentifier();
        const auto exitLine = m_watch->exitLine();
        m_watch.reset();
        const auto decision = m_backoff.exited(pid, now, interval);
        if (!decision) {
            return SteadyClock::time_point::max();
        }
        for (const auto& line : decision->lines(exitLine)) {
            controller.note(line);
        }
        return now + decision->delay;
    }

private:
    std::optional<ProcessExitWatch> m_watch;
    RestartBackoff m_backoff;
};

// A read error counts as a change: a check too many costs less than one missed. A source that
// failed is given up, with one line, since its descriptor would end every later wait at once;
// the interval still finds what it would have told.
template <typename Source>
bool drained(std::unique_ptr<Source>& source, ServiceController& controller, const char* what) {
    try {
        return source->drain();
    } catch (const std::exception& error) {
        controller.note(std::string("WARNING: ") + what + " no longer watched: " + error.what());
        source.reset();
        return true;
    }
}

// Load (with auto start), then waits in one ppoll for whatever comes first, and acts on it.
class ServiceLoop {
public:
    ServiceLoop(ServiceController& controller, SignalDescriptor& signals,
                ServiceManagerNotifying& manager, LogMirroring& standardError, int forwarderErrors)
        : m_controller(controller), m_signals(signals), m_logTrouble(standardError),
          m_manager(manager, SteadyClock::now()) {
        if (forwarderErrors >= 0) {
            m_output.emplace(forwarderErrors);
        }
    }

    void run() {
        begin();
        for (;;) {
            ChildReaper::reapAdopted();
            const std::array descriptors{m_signals.descriptor(), m_forwarder.descriptor(),
                                         descriptorOf(m_network), descriptorOf(m_wakeUps),
                                         descriptorOf(m_output)};
            const auto ready = DescriptorWait::until(descriptors, deadline());
            if (!takeSignals()) {
                break;
            }
            takeEvents(ready, SteadyClock::now());
            runDueWork(SteadyClock::now());
            m_logTrouble.update(m_controller);
        }
        m_manager.stopping();
        m_controller.stop();
        m_logTrouble.update(m_controller);
    }

private:
    void begin() {
        seen(m_controller.load(true));
        m_controller.pruneLogs();
        // A stop that came during the start is taken at once, without another probe first.
        if (!stopSignalPending()) {
            seen(m_controller.refreshRuntimeStatus());
        }
        m_logTrouble.update(m_controller);
        m_manager.ready();
        m_network = optionalSource<NetworkChangeMonitor>(m_controller, "Network changes");
        m_wakeUps = optionalSource<WakeUpWatch>(m_controller, "Resume from suspend");
        m_nextCheck = SteadyClock::now() + interval();
        m_nextPrune = SteadyClock::now() + pruneInterval;
    }

    // Every snapshot goes through here: the forwarder is watched from the moment one shows it.
    void seen(const ServiceSnapshot& snapshot) {
        const auto now = SteadyClock::now();
        m_snapshot = snapshot;
        m_forwarder.follow(snapshot, now);
        m_retry.statusSeen(snapshot.status, now, interval());
        std::optional<std::chrono::seconds> retryIn;
        if (const auto due = m_retry.dueAt()) {
            retryIn = std::chrono::ceil<std::chrono::seconds>(*due - now);
        }
        m_manager.status(ServiceStatusLine::compose(snapshot, retryIn));
    }

    std::chrono::milliseconds interval() const { return checkInterval(m_snapshot); }

    SteadyClock::time_point deadline() const {
        auto deadline = std::min(m_nextCheck, m_nextPrune);
        for (const auto& due : {m_early.dueAt(), m_retry.dueAt(), m_manager.watchdogDueAt(),
                                m_output ? m_output->dueAt() : std::nullopt}) {
            deadline = due ? std::min(deadline, *due) : deadline;
        }
        return deadline;
    }

    // False once a stop signal came. The signals that would only have ended the service by
    // their default action are taken and dropped.
    bool takeSignals() {
        while (const auto signal = m_signals.take()) {
            if (std::ranges::find(stopSignalNumbers, *signal) != std::end(stopSignalNumbers)) {
                return false;
            }
            if (*signal == SIGHUP) {
                m_manager.reloading();
                seen(m_controller.reloadConfig());
                m_manager.ready();
                m_nextCheck = std::min(m_nextCheck, SteadyClock::now() + interval());
            }
            m_checkAsked = m_checkAsked || *signal == SIGUSR1;
        }
        return true;
    }

    void takeEvents(const std::vector<bool>& ready, SteadyClock::time_point now) {
        if (ready[1]) {
            m_nextCheck = std::min(m_nextCheck, m_forwarder.exited(m_controller, now, interval()));
        }
        if (ready[2] && drained(m_network, m_controller, "Network changes")) {
            m_early.networkChanged(now);
        }
        if (ready[3]) {
            drained(m_wakeUps, m_controller, "Resume from suspend");
        }
        if (ready[4]) {
            m_output->read(now);
        }
        if (m_resume.sleptSinceLastLook()) {
            m_early.resumed(now);
        }
    }

    void runDueWork(SteadyClock::time_point now) {
        m_manager.pingIfDue(now);
        if (now >= m_nextPrune) {
            m_controller.pruneLogs();
            m_nextPrune = now + pruneInterval;
        }
        if (const auto line = m_retry.takeDue(now, interval()); line && !stopSignalPending()) {
            m_controller.note(*line);
            seen(m_controller.start());
        }
        const auto earlyLine = m_early.takeDue(now);
        if (earlyLine) {
            m_controller.note(*earlyLine);
        }
        if (m_checkAsked) {
            m_controller.note("Health check early: asked by SIGUSR1");
        }
        const auto passive = m_output ? m_output->takeDue(now) : PassiveChecks::Due{};
        for (const auto& line : passive.lines) {
            m_controller.note(line);
        }
        if (earlyLine || m_checkAsked || passive.check || now >= m_nextCheck) {
            m_checkAsked = false;
            seen(m_controller.healthCheck());
            m_nextCheck = SteadyClock::now() + interval();
            if (m_output) {
                m_output->checked(SteadyClock::now());
            }
            if (earlyLine) {
                const auto& findings = m_controller.lastHealthFindings();
                m_early.checkFinished(!findings.cachedTargetUsed && !findings.failedWith,
                                      SteadyClock::now());
            }
        }
    }

    ServiceController& m_controller;
    SignalDescriptor& m_signals;
    LogTroubleReport m_logTrouble;
    ServiceManagerUpdates m_manager;
    ForwarderWatch m_forwarder;
    FailedStartRetry m_retry;
    ServiceSnapshot m_snapshot;
    std::unique_ptr<NetworkChangeMonitor> m_network;
    std::unique_ptr<WakeUpWatch> m_wakeUps;
    std::optional<ForwarderOutputWatch> m_output;
    ResumeDetector m_resume;
    EarlyCheckSchedule m_early;
    SteadyClock::time_point m_nextCheck;
    SteadyClock::time_point m_nextPrune;
    bool m_checkAsked = false;
};

} // namespace

bool stopSignalPending() {
    sigset_t pending;
    sigemptyset(&pending);
    ::sigpending(&pending);
    return std::ranges::any_of(stopSignalNumbers,
                               [&](int signal) { return sigismember(&pending, signal) == 1; });
}

std::vector<int> handledSignalNumbers() {
    std::vector<int> numbers(std::begin(stopSignalNumbers), std::end(stopSignalNumbers));
    numbers.insert(numbers.end(), {SIGHUP, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGIO,
                                   SIGPWR, SIGSTKFLT, SIGXCPU, SIGXFSZ});
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        numbers.push_back(signal);
    }
    return numbers;
}

void serveUntilStopSignal(ServiceController& controller, SignalDescriptor& signals,
                          ServiceManagerNotifying& manager, LogMirroring& standardError,
                          int forwarderErrors) {
    ServiceLoop(controller, signals, manager, standardError, forwarderErrors).run();
}

} // namespace velquor
