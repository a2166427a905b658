// qarvexd: the forwarding service without a user interface. Loads the configuration (starting
// forwarding when it says so), then checks itself at the configured interval until SIGTERM,
// SIGINT or SIGQUIT, when it stops its forwarder and exits 0. SIGHUP rereads the configuration.
#include "core/BuildInfo.h"
#include "core/discovery/CurlHttpSession.h"
#include "core/files/InstanceLock.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/service/DefaultController.h"
#include "daemon/StopGuardedLauncher.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <iostream>
#include <string_view>

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::int64_t minimumCheckIntervalSeconds = 5;
constexpr auto pruneInterval = std::chrono::hours(24);
constexpr int stopSignalNumbers[] = {SIGTERM, SIGINT, SIGQUIT};

void printUsage(std::ostream& out) {
    out << "Usage: qarvexd [--help | --version]\n\n"
           "Keeps a local socat forwarder pointed at the iSCSI target that the configured\n"
           "discovery URL names, and checks it at the configured interval. Settings are read\n"
           "from ${XDG_CONFIG_HOME:-~/.config}/Velquor/config.json; the log is written to\n"
           "${XDG_STATE_HOME:-~/.local/state}/Velquor/service.log. SIGTERM, SIGINT or SIGQUIT\n"
           "stops forwarding and exits; SIGHUP rereads the settings. Only one qarvexd or qarvex\n"
           "runs for a user.\n";
}

// The signals this program takes itself, kept blocked so that they wait to be taken: the stop
// signals and SIGHUP.
sigset_t handledSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : stopSignalNumbers) {
        sigaddset(&signals, signal);
    }
    sigaddset(&signals, SIGHUP);
    return signals;
}

// Asked from inside a discovery request and before every launch: a blocked stop signal stays
// pending until the main loop takes it, so no handler or thread is needed to see it.
bool stopSignalPending() {
    sigset_t pending;
    sigemptyset(&pending);
    ::sigpending(&pending);
    return std::ranges::any_of(stopSignalNumbers,
                               [&](int signal) { return sigismember(&pending, signal) == 1; });
}

// Waits until the given time for one of the signals; its number, or 0 when the time came.
int waitForSignal(const sigset_t& signals, SteadyClock::time_point until) {
    for (;;) {
        const auto left = std::max(until - SteadyClock::now(), SteadyClock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        const timespec timeout{static_cast<std::time_t>(seconds.count()),
                               static_cast<long>(std::chrono::nanoseconds(left - seconds).count())};
        const int signal = ::sigtimedwait(&signals, nullptr, &timeout);
        if (signal > 0) {
            return signal;
        }
        if (errno == EAGAIN) {
            return 0;
        }
        // EINTR: a signal we do not wait for was handled; wait for the rest of the time.
    }
}

SteadyClock::duration checkInterval(const velquor::ServiceSnapshot& snapshot) {
    return std::chrono::seconds(
        std::max(snapshot.config.checkIntervalSeconds, minimumCheckIntervalSeconds));
}

// The controller ignores a log it cannot write, and so does forwarding; the user hears of it
// once on standard error (the journal under systemd) and once more when it is written again.
class LogTroubleReport {
public:
    void update(const velquor::ServiceController& controller) {
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

// Two forwarders for one user would stop each other's socat.
bool refusedBySecondInstance(const velquor::InstanceLock& lock) {
    if (lock.isHeld()) {
        return false;
    }
    const auto holder = lock.holder();
    std::cerr << "qarvexd: not starting: Qarvex already forwards for this user in "
              << (holder ? holder->text() : std::string("another qarvexd or qarvex"))
              << "; run only one of qarvexd and qarvex per user\n";
    return true;
}

// Load (with auto start), then health checks at the interval, a reload on SIGHUP and the log
// pruned daily, until a stop signal; then stop.
void serveUntilStopSignal(velquor::ServiceController& controller, const sigset_t& signals) {
    LogTroubleReport logTrouble;
    auto snapshot = controller.load(true);
    controller.pruneLogs();
    // A stop that came during the start is taken at once, without another probe first.
    if (!stopSignalPending()) {
        snapshot = controller.refreshRuntimeStatus();
    }
    logTrouble.update(controller);
    auto nextCheck = SteadyClock::now() + checkInterval(snapshot);
    auto nextPrune = SteadyClock::now() + pruneInterval;
    for (;;) {
        const int signal = waitForSignal(signals, std::min(nextCheck, nextPrune));
        if (signal == SIGHUP) {
            snapshot = controller.reloadConfig();
            nextCheck = std::min(nextCheck, SteadyClock::now() + checkInterval(snapshot));
        } else if (signal != 0) {
            break;
        }
        if (SteadyClock::now() >= nextPrune) {
            controller.pruneLogs();
            nextPrune = SteadyClock::now() + pruneInterval;
        }
        if (SteadyClock::now() >= nextCheck) {
            snapshot = controller.healthCheck();
            nextCheck = SteadyClock::now() + checkInterval(snapshot);
        }
        logTrouble.update(controller);
    }
    controller.stop();
    logTrouble.update(controller);
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        const std::string_view option = argv[1];
        if (argc == 2 && option == "--help") {
            printUsage(std::cout);
            return 0;
        }
        if (argc == 2 && option == "--version") {
            std::cout << "qarvexd " << velquor::buildinfo::version << "\n";
            return 0;
        }
        std::cerr << "qarvexd: unknown option '" << option << "'\n";
        printUsage(std::cerr);
        return 2;
    }

    // Set before any child exists; the launcher gives children a clean signal state. A peer
    // that hangs up must not end the service with SIGPIPE.
    const sigset_t signals = handledSignals();
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);

    std::unique_ptr<velquor::InstanceLock> lock;
    std::unique_ptr<velquor::ServiceController> controller;
    try {
        lock = std::make_unique<velquor::InstanceLock>(velquor::InstanceLock::defaultPath(),
                                                       "qarvexd");
        if (refusedBySecondInstance(*lock)) {
            return 1;
        }
        controller = velquor::DefaultController::makeDefaultController(
            velquor::FileLocations::forCurrentUser(),
            std::make_unique<velquor::StopGuardedLauncher>(
                std::make_unique<velquor::PosixSocatProcessLauncher>(), &stopSignalPending),
            std::make_unique<velquor::CurlHttpSession>(&stopSignalPending));
    } catch (const std::exception& error) {
        std::cerr << "qarvexd: " << error.what() << "\n";
        return 1;
    }
    serveUntilStopSignal(*controller, signals);
    return 0;
}
