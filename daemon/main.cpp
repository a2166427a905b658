// qarvexd: the forwarding service without a user interface. Loads the configuration (starting
// forwarding when it says so), then checks itself at the configured interval until SIGTERM,
// SIGINT or SIGQUIT, when it stops its forwarder and exits 0. SIGHUP rereads the configuration,
// SIGUSR1 asks for a health check at once, and so does a connection socat failed to make to the
// target; a failed start is tried again by itself. Each log line also goes to standard error, as
// does each line socat writes there, and under systemd (Type=notify) it reports readiness, reloads,
// the stop and a status line, and pings the watchdog.
#include "core/BuildInfo.h"
#include "core/discovery/CurlHttpSession.h"
#include "core/files/InstanceLock.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/logging/StandardErrorLog.h"
#include "core/service/DefaultController.h"
#include "daemon/ServiceLoop.h"
#include "daemon/StopGuardedLauncher.h"
#include "daemon/SystemdNotifier.h"

#include <csignal>
#include <iostream>
#include <string_view>

namespace {

void printUsage(std::ostream& out) {
    out << "Usage: qarvexd [--help | --version]\n\n"
           "Keeps a local socat forwarder pointed at the iSCSI target that the configured\n"
           "discovery URL names, and checks it at the configured interval. Settings are read\n"
           "from ${XDG_CONFIG_HOME:-~/.config}/Velquor/config.json; the log is written to\n"
           "${XDG_STATE_HOME:-~/.local/state}/Velquor/service.log and each line also to standard\n"
           "error (in the journal's form when that is the journal). SIGTERM, SIGINT or SIGQUIT\n"
           "stops forwarding and exits; SIGHUP rereads the settings; SIGUSR1 runs a health\n"
           "check at once, as does a connection the forwarder could not make to the target\n"
           "(at most every 5 s); socat's own messages go on to standard error unchanged. A\n"
           "start that failed is tried again after 5 s, then after twice as long each time, at\n"
           "most the check interval. Only one qarvexd or qarvex runs for a user.\n";
}

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
    std::unique_ptr<velquor::SignalDescriptor> signals;
    try {
        signals = std::make_unique<velquor::SignalDescriptor>(velquor::handledSignalNumbers());
    } catch (const std::exception& error) {
        std::cerr << "qarvexd: " << error.what() << "\n";
        return 1;
    }
    ::signal(SIGPIPE, SIG_IGN);

    std::unique_ptr<velquor::InstanceLock> lock;
    std::unique_ptr<velquor::ServiceController> controller;
    const auto standardError = std::make_shared<velquor::StandardErrorLog>();
    std::shared_ptr<velquor::ForwarderErrorPipe> forwarderErrors;
    try {
        const auto files = velquor::FileLocations::forCurrentUser();
        lock = std::make_unique<velquor::InstanceLock>(files.configFile, files.logFile, "qarvexd");
        if (refusedBySecondInstance(*lock)) {
            return 1;
        }
        forwarderErrors = std::make_shared<velquor::ForwarderErrorPipe>();
        controller = velquor::DefaultController::makeDefaultController(
            files,
            std::make_unique<velquor::StopGuardedLauncher>(
                std::make_unique<velquor::PosixSocatProcessLauncher>(forwarderErrors),
                &velquor::stopSignalPending),
            std::make_unique<velquor::CurlHttpSession>(&velquor::stopSignalPending), standardError);
    } catch (const std::exception& error) {
        std::cerr << "qarvexd: " << error.what() << "\n";
        return 1;
    }
    velquor::SystemdNotifier manager;
    velquor::serveUntilStopSignal(*controller, *signals, manager, *standardError,
                                  forwarderErrors->readDescriptor());
    return 0;
}
