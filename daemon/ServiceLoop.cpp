#include "daemon/ServiceLoop.h"

#include "core/process/ChildReaper.h"
#include "core/process/ProcessExitWatch.h"
#include "core/process/RestartBackoff.h"
#include "core/service/EarlyCheckSchedule.h"
#include "core/system/DescriptorWait.h"
#include "core/system/NetworkChangeMonitor.h"
#include "core/system/ResumeDetector.h"
#include "core/system/WakeUpWatch.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>

namespace velquor {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::int64_t minimumCheckIntervalSeconds = 5;
constexpr auto pruneInterval = std::chrono::hours(24);

std::chrono::seconds checkInterval(const ServiceSnapshot& snapshot) {
    return std::chrono::seconds(
        std::max(snapshot.config.checkIntervalSeconds, minimumCheckIntervalSeconds));
}

// The controller ignores a log it cannot write, and so does forwarding; the user hears of it
// once on standard error (the journal under systemd) and once more when it is written again.
class LogTroubleReport {
public:
    void update(const ServiceController& controller) {
        const auto& error = controller.logWriteError();
        if (error && !m_told) {
            std::cerr << "qarvexd: cannot write the log (" << *error
                      << "); forwarding goes on without it\n";
        } else if (!error && m_told) {
            std::cerr << "qarvexd: the log is written again\n";
        }
        m_told = error.has_value();
    }

private:
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

template <typename Source> int descriptorOf(const std::unique_ptr<Source>& source) {
    return source ? source->descriptor() : -1;
}

// Follows the forwarder child we started, so that its exit is seen the moment it happens.
// Our own stops, restarts and moves happen inside controller operations, after which the watch
// is matched to the new snapshot again, so what it sees is an exit nobody asked for.
class ForwarderWatch {
public:
    void follow(const ServiceSnapshot& snapshot, SteadyClock::time_point now) {
        const auto pid = snapshot.socatRuntimeStatus.kind == SocatRuntimeStatus::Kind::trackedSocat
                             ? snapshot.processIdentifier
                             : std::nullopt;
        if (!pid) {
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
        try {
            m_watch = std::make_unique<ProcessExitWatch>(*pid);
            m_backoff.started(*pid, now);
        } catch (const std::exception&) {
            m_watch.reset(); // the interval still finds it
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
                                   std::chrono::seconds interval) {
        const auto pid = m_watch->processIdentifier();
        m_watch.reset();
        const auto decision = m_backoff.exited(pid, now, interval);
        if (!decision) {
            return SteadyClock::time_point::max();
        }
        if (decision->delay == decision->delay.zero()) {
            controller.note("Health check early: forwarder exited [PID=" + std::to_string(pid) +
                            "]");
        }
        if (decision->logLine) {
            controller.note(*decision->logLine);
        }
        return now + decision->delay;
    }

private:
    std::unique_ptr<ProcessExitWatch> m_watch;
    RestartBackoff m_backoff;
};

// A read error counts as a change: a check too many costs less than one missed.
template <typename Source> bool drained(Source& source) {
    try {
        return source.drain();
    } catch (const std::exception&) {
        return true;
    }
}

} // namespace

bool stopSignalPending() {
    sigset_t pending;
    sigemptyset(&pending);
    ::sigpending(&pending);
    return std::ranges::any_of(stopSignalNumbers,
                               [&](int signal) { return sigismember(&pending, signal) == 1; });
}

void serveUntilStopSignal(ServiceController& controller, SignalDescriptor& signals) {
    LogTroubleReport logTrouble;
    ForwarderWatch forwarder;
    auto snapshot = controller.load(true);
    // Watched before anything probes it again: a forwarder that dies this early is still seen.
    forwarder.follow(snapshot, SteadyClock::now());
    controller.pruneLogs();
    // A stop that came during the start is taken at once, without another probe first.
    if (!stopSignalPending()) {
        snapshot = controller.refreshRuntimeStatus();
    }
    logTrouble.update(controller);
    const auto network = optionalSource<NetworkChangeMonitor>(controller, "Network changes");
    const auto wakeUps = optionalSource<WakeUpWatch>(controller, "Resume from suspend");
    ResumeDetector resume;
    EarlyCheckSchedule early;
    forwarder.follow(snapshot, SteadyClock::now());
    auto nextCheck = SteadyClock::now() + checkInterval(snapshot);
    auto nextPrune = SteadyClock::now() + pruneInterval;
    for (;;) {
        ChildReaper::reapAdopted();
        auto deadline = std::min(nextCheck, nextPrune);
        if (const auto due = early.dueAt()) {
            deadline = std::min(deadline, *due);
        }
        const std::array descriptors{signals.descriptor(), forwarder.descriptor(),
                                     descriptorOf(network), descriptorOf(wakeUps)};
        const auto ready = DescriptorWait::until(descriptors, deadline);
        auto now = SteadyClock::now();
        bool stopAsked = false;
        while (const auto signal = signals.take()) {
            if (*signal != SIGHUP) {
                stopAsked = true;
                break;
            }
            snapshot = controller.reloadConfig();
            nextCheck = std::min(nextCheck, SteadyClock::now() + checkInterval(snapshot));
        }
        if (stopAsked) {
            break;
        }
        if (ready[1]) {
            nextCheck =
                std::min(nextCheck, forwarder.exited(controller, now, checkInterval(snapshot)));
        }
        if (ready[2] && drained(*network)) {
            early.networkChanged(now);
        }
        if (ready[3]) {
            drained(*wakeUps);
        }
        if (resume.sleptSinceLastLook()) {
            early.resumed(now);
        }
        now = SteadyClock::now();
        if (now >= nextPrune) {
            controller.pruneLogs();
            nextPrune = now + pruneInterval;
        }
        const auto earlyLine = early.takeDue(now);
        if (earlyLine) {
            controller.note(*earlyLine);
        }
        if (earlyLine || now >= nextCheck) {
            snapshot = controller.healthCheck();
            nextCheck = SteadyClock::now() + checkInterval(snapshot);
            if (earlyLine) {
                const auto& findings = controller.lastHealthFindings();
                early.checkFinished(!findings.cachedTargetUsed && !findings.failedWith,
                                    SteadyClock::now());
            }
        }
        forwarder.follow(snapshot, SteadyClock::now());
        logTrouble.update(controller);
    }
    controller.stop();
    logTrouble.update(controller);
}

} // namespace velquor
