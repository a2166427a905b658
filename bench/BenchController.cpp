#include "bench/BenchController.h"

#include "bench/ConfigFile.h"
#include "bench/ForwarderSweep.h"
#include "bench/Interruption.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "core/service/DefaultController.h"
#include "core/service/FileLocations.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace velquor::bench {

namespace {

using namespace std::chrono_literals;

FileLocations locationsIn(const std::filesystem::path& folder) {
    FileLocations locations;
    locations.applicationFolder = folder / "config";
    locations.configFile = locations.applicationFolder / "config.json";
    locations.logFolder = folder / "state";
    locations.logFile = locations.logFolder / "service.log";
    return locations;
}

bool isGone(std::int32_t pid) {
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

} // namespace

BenchController::BenchController(const std::filesystem::path& folder, std::int64_t listenPort,
                                 const std::string& discoveryUrl)
    : m_listenPort(listenPort) {
    const auto locations = locationsIn(folder);
    ConfigFile::write(locations.configFile, listenPort, discoveryUrl,
                      ForwarderConfig::defaultCheckIntervalSeconds, false);
    m_controller = DefaultController::makeDefaultController(locations);
    const auto snapshot = m_controller->load(false);
    if (snapshot.lastError) {
        throw std::runtime_error("loading the configuration: " + *snapshot.lastError);
    }
}

BenchController::~BenchController() {
    m_controller->stop();
    if (!ForwarderSweep::waitUntilFree(m_listenPort, 2s)) {
        ForwarderSweep::killSocatsOn(m_listenPort);
    }
}

void BenchController::start() {
    const auto snapshot = m_controller->start();
    if (snapshot.status != ServiceStatus::running) {
        throw std::runtime_error("start() did not start forwarding: " +
                                 snapshot.lastError.value_or("no error given"));
    }
}

void BenchController::stopAndSettle() {
    const auto pid = m_controller->refreshRuntimeStatus().processIdentifier;
    m_controller->stop();
    const auto until = std::chrono::steady_clock::now() + 3s;
    NetworkPortChecker checker;
    while (checker.isListening("127.0.0.1", m_listenPort) || (pid && !isGone(*pid))) {
        if (std::chrono::steady_clock::now() > until) {
            throw std::runtime_error("the forwarder did not go after stop()");
        }
        Interruption::sleepFor(1ms);
    }
}

void BenchController::waitUntilAccepting(std::chrono::milliseconds deadline) const {
    const auto until = std::chrono::steady_clock::now() + deadline;
    NetworkPortChecker checker;
    while (!checker.isListening("127.0.0.1", m_listenPort)) {
        if (std::chrono::steady_clock::now() > until) {
            throw std::runtime_error("the listen port did not accept connections");
        }
        Interruption::sleepFor(std::chrono::microseconds(250));
    }
}

} // namespace velquor::bench
