// qarvexd: the forwarding service without a user interface. Loads the configuration (starting
// forwarding when it says so), then checks itself at the configured interval until SIGTERM or
// SIGINT, when it stops its forwarder and exits 0.
#include "core/BuildInfo.h"
#include "core/service/DefaultController.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string_view>

namespace {

constexpr std::int64_t minimumCheckIntervalSeconds = 5;

void printUsage(std::ostream& out) {
    out << "Usage: qarvexd [--help | --version]\n\n"
           "Keeps a local socat forwarder pointed at the iSCSI target that the configured\n"
           "discovery URL names, and checks it at the configured interval. Settings are read\n"
           "from ${XDG_CONFIG_HOME:-~/.config}/Velquor/config.json; the log is written to\n"
           "${XDG_STATE_HOME:-~/.local/state}/Velquor/service.log. SIGTERM or SIGINT stops\n"
           "forwarding and exits.\n";
}

// Waits up to the given seconds for SIGTERM or SIGINT; true when one arrived.
bool waitForStopSignal(const sigset_t& signals, std::int64_t seconds) {
    timespec timeout{static_cast<std::time_t>(seconds), 0};
    for (;;) {
        const int signal = ::sigtimedwait(&signals, nullptr, &timeout);
        if (signal > 0) {
            return true;
        }
        if (errno == EAGAIN) {
            return false;
        }
        // EINTR: another signal interrupted the wait; keep the rest of the interval simple
        // by starting it again.
    }
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

    // Blocked before any child exists; the launcher gives children a clean signal mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigprocmask(SIG_BLOCK, &stopSignals, nullptr);

    std::unique_ptr<velquor::ServiceController> controller;
    try {
        controller = velquor::DefaultController::makeDefaultController();
    } catch (const std::exception& error) {
        std::cerr << "qarvexd: " << error.what() << "\n";
        return 1;
    }
    auto snapshot = controller->load(true);
    snapshot = controller->refreshRuntimeStatus();
    for (;;) {
        const auto interval =
            std::max(snapshot.config.checkIntervalSeconds, minimumCheckIntervalSeconds);
        if (waitForStopSignal(stopSignals, interval)) {
            break;
        }
        snapshot = controller->healthCheck();
    }
    controller->stop();
    return 0;
}
