#include "bench/BenchRun.h"

#include "bench/CostMeter.h"
#include "bench/FileText.h"
#include "bench/ForwarderSweep.h"
#include "bench/Interruption.h"
#include "bench/IscsiPerf.h"
#include "bench/MachineDescription.h"
#include "bench/ProcessUsage.h"
#include "bench/QarvexdProcess.h"
#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/SocatCommand.h"
#include "core/process/ProcessRunner.h"
#include "core/service/DefaultController.h"
#include "support/harness/BannerServer.h"
#include "support/harness/ChildProcess.h"
#include "support/harness/Loopback.h"
#include "support/harness/SystemTool.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace velquor::bench {

using harness::BannerServer;

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double millisecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

std::size_t occurrences(const fs::path& file, const std::string& needle) {
    const auto text = contentOf(file);
    std::size_t count = 0;
    for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
        ++count;
    }
    return count;
}

void progress(const std::string& text) {
    std::cerr << "velquor_bench: " << text << std::endl;
}

// Wide requests keep iscsi-perf's own per-request cost from hiding the forwarder's.
constexpr int perfBlocksPerRequest = 128; // 64 KiB of 512-byte blocks
constexpr int perfMaxRequests = 16;
// The reference forwarder is Qarvex's command with a larger relay buffer (socat's default is
// 8 KiB), to show how much of the gap the buffer size explains.
constexpr const char* referenceSocatBuffer = "262144";

constexpr double healthCheckRatioTarget = 2.0;
constexpr double startTargetMilliseconds = 100;
constexpr double moveTargetMilliseconds = 300;
constexpr double throughputRatioExpected = 0.75;
constexpr double residentTargetMegabytes = 10;
constexpr double idleCpuTargetSeconds = 0.05;
constexpr double healTargetMilliseconds = 200;
constexpr double repeatedKillsCpuTargetSeconds = 0.5;
constexpr int repeatedKillsWindowSeconds = 60;
constexpr auto repeatedKillsPeriod = std::chrono::seconds(5);
constexpr double refusedMoveTargetMilliseconds = 500;
constexpr double failingClientCpuTargetSeconds = 1.0;
constexpr int failingClientWindowSeconds = 60;
constexpr auto failingClientPeriod = std::chrono::milliseconds(10);
// The interval the early checks must beat.
constexpr std::int64_t longCheckIntervalSeconds = 60;
constexpr const char* earlyConnectionCheck = "Health check early: connection to";
constexpr const char* connectionWarning = "WARNING: Forwarded connection to";

// The PID in the latest "socat started [PID=N]" line of a log.
std::int32_t lastStartedPid(const fs::path& log) {
    const std::string marker = "socat started [PID=";
    const auto text = contentOf(log);
    const auto at = text.rfind(marker);
    if (at == std::string::npos) {
        throw std::runtime_error("qarvexd logged no start: " + text);
    }
    return std::stoi(text.substr(at + marker.size()));
}

// A home of its own, private as the programs want it.
fs::path freshHome(const fs::path& home) {
    fs::create_directories(home);
    ::chmod(home.c_str(), 0700);
    return home;
}

// Its start logged and its socat listening, found by lsof: a connection to see whether the port
// accepts would go on through socat to the target, and a failed one sets off an early check.
void waitUntilStarted(const QarvexdProcess& forwarder, std::int64_t port,
                      std::chrono::milliseconds deadline) {
    const auto until = Clock::now() + deadline;
    LsofListenerProbe lsof(LsofListenerProbe::defaultLsofPath());
    while (occurrences(forwarder.logFile(), "socat started [PID=") == 0 ||
           !lsof.listener("127.0.0.1", port)) {
        if (Clock::now() > until) {
            throw std::runtime_error("no forwarder started: " + contentOf(forwarder.logFile()));
        }
        Interruption::sleepFor(5ms);
    }
}

void runIp(const std::string& arguments) {
    const auto command = harness::SystemTool::find("ip").string() + " " + arguments;
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

} // namespace

BenchRun::BenchRun(const BenchOptions& options) : m_options(options) {
    if (::geteuid() != 0) {
        throw std::runtime_error("tgtd needs root to run an iSCSI target; run as root");
    }
    for (const char* tool : {"tgtd", "tgtadm", "iscsi-perf", "socat", "lsof", "env"}) {
        harness::SystemTool::find(tool);
    }
    m_machine = MachineDescription::markdown(m_folder.path());
    progress("starting tgtd, the discovery endpoint and the controller in " +
             m_folder.path().string());
    m_target = std::make_unique<harness::IscsiTarget>(m_folder.path(),
                                                      "iqn.2024-01.dev.velquor:bench", 64);
    m_discovery = std::make_unique<RedirectServer>(m_target->port());
    fs::create_directories(m_folder / "controller");
    m_controller = std::make_unique<BenchController>(
        m_folder / "controller", harness::Loopback::freePort(), m_discovery->url());
}

template <typename Measurement>
void BenchRun::attempt(const std::string& item, const std::string& figure,
                       Measurement&& measurement) {
    if (m_options.only.find(item[1]) == std::string::npos) {
        return;
    }
    Interruption::check();
    progress(item + " " + figure);
    try {
        measurement();
    } catch (const Interruption::Interrupted&) {
        throw;
    } catch (const std::exception& error) {
        progress(item + " failed: " + error.what());
        m_table.addFailure(item, figure, error.what());
    }
}

void BenchRun::execute() {
    attempt("(a)", "healthCheck() against one bare lsof run", [&] { measureHealthCheck(); });
    attempt("(b)", "start() until the port accepts", [&] { measureStart(); });
    attempt("(c)", "target move", [&] { measureTargetMove(); });
    attempt("(d)", "iSCSI read throughput", [&] { measureThroughput(); });
    attempt("(e)", "qarvexd idle", [&] { measureIdleDaemon(); });
    attempt("(f)", "qarvexd healing a killed socat", [&] { measureHealAtOnce(); });
    attempt("(g)", "qarvexd after a network change", [&] { measureNetworkChange(); });
    attempt("(h)", "qarvexd while its socat is killed every 5 s", [&] { measureRepeatedKills(); });
    attempt("(i)", "target moved and the old address refusing",
            [&] { measureMoveFromRefusingTarget(); });
    attempt("(j)", "qarvexd while a client fails 100 times a second",
            [&] { measureFailingClient(); });
}

void BenchRun::print(std::ostream& out) const {
    out << "## Qarvex benchmarks\n\n"
        << m_machine << "- Runs: " << m_options.runs << " per timed figure; iscsi-perf "
        << m_options.perfRounds << " rounds of " << m_options.perfSeconds
        << " s per path, paths interleaved; qarvexd watched " << m_options.idleSeconds
        << " s with checkIntervalSeconds " << m_options.checkIntervalSeconds
        << "\n- Load average when it ended: " << MachineDescription::loadAverage() << "\n\n";
    m_table.print(out);
}

void BenchRun::measureHealthCheck() {
    m_controller->start();
    m_controller->waitUntilAccepting(5s);
    auto& controller = m_controller->controller();
    const auto port = std::to_string(m_controller->listenPort());
    const ProcessRunner bareLsof(LsofListenerProbe::defaultLsofPath(),
                                 {"-nP", "-iTCP:" + port, "-sTCP:LISTEN"}, 10s);
    int checksPassed = 0;
    int lsofFound = 0;
    const auto check = [&] {
        const auto snapshot = controller.healthCheck();
        checksPassed += snapshot.status == ServiceStatus::running && !snapshot.lastError;
    };
    const auto list = [&] { lsofFound += bareLsof.run().exitCode == 0; };
    for (int i = 0; i < 2; ++i) {
        check();
        list();
    }
    checksPassed = 0;
    lsofFound = 0;

    Samples checkWall, checkCpu, lsofWall, lsofCpu, wallRatio, cpuRatio;
    for (int run = 0; run < m_options.runs; ++run) {
        Interruption::check();
        CostMeter::Cost checkCost, lsofCost;
        // Alternating the order keeps either from always running on the other's warm caches.
        if (run % 2 == 0) {
            checkCost = CostMeter::measure(check);
            lsofCost = CostMeter::measure(list);
        } else {
            lsofCost = CostMeter::measure(list);
            checkCost = CostMeter::measure(check);
        }
        checkWall.add(checkCost.wallMilliseconds);
        checkCpu.add(checkCost.cpuMilliseconds);
        lsofWall.add(lsofCost.wallMilliseconds);
        lsofCpu.add(lsofCost.cpuMilliseconds);
        wallRatio.add(checkCost.wallMilliseconds / lsofCost.wallMilliseconds);
        cpuRatio.add(checkCost.cpuMilliseconds / std::max(lsofCost.cpuMilliseconds, 1e-3));
    }
    const auto ratioRow = [&](const std::string& figure, const Samples& check, const Samples& lsof,
                              const Samples& pairs) {
        const auto ratio = check.median() / lsof.median();
        m_table.addValue("(a)", figure, BenchTable::number(ratio, 2),
                         "per pair " + BenchTable::number(pairs.minimum(), 2) + " .. " +
                             BenchTable::number(pairs.maximum(), 2),
                         "<= " + BenchTable::number(healthCheckRatioTarget, 1),
                         ratio <= healthCheckRatioTarget);
    };
    m_table.addMedian("(a)", "healthCheck(), forwarder running: wall", checkWall, "ms", 2);
    m_table.addMedian("(a)", "lsof -nP -iTCP:<port> -sTCP:LISTEN: wall", lsofWall, "ms", 2);
    ratioRow("healthCheck / lsof: wall (ratio of medians)", checkWall, lsofWall, wallRatio);
    m_table.addMedian("(a)", "healthCheck(): CPU (bench process + children reaped)", checkCpu, "ms",
                      2);
    m_table.addMedian("(a)", "lsof: CPU (bench process + lsof)", lsofCpu, "ms", 2);
    ratioRow("healthCheck / lsof: CPU (ratio of medians)", checkCpu, lsofCpu, cpuRatio);
    m_table.addNote("(a) " + std::to_string(checksPassed) + " of " +
                    std::to_string(m_options.runs) + " health checks passed; lsof found the " +
                    "socat listener in " + std::to_string(lsofFound) + " of " +
                    std::to_string(m_options.runs) + " runs. A health check with the tracked " +
                    "socat alive runs no lsof: it asks discovery over HTTP, rewrites and fsyncs " +
                    "config.json, and appends to the log.");
}

void BenchRun::measureStart() {
    m_controller->stopAndSettle();
    Samples untilAccepting, untilReturned;
    for (int run = 0; run < m_options.runs; ++run) {
        Interruption::check();
        const auto started = Clock::now();
        m_controller->start();
        const auto returned = Clock::now();
        m_controller->waitUntilAccepting(5s);
        const auto accepting = Clock::now();
        untilAccepting.add(millisecondsBetween(started, accepting));
        untilReturned.add(millisecondsBetween(started, returned));
        m_controller->stopAndSettle();
    }
    m_table.addMedian("(b)", "start() until the port accepts connections", untilAccepting, "ms", 1,
                      "< " + BenchTable::number(startTargetMilliseconds, 0) + " ms",
                      untilAccepting.median() < startTargetMilliseconds);
    m_table.addMedian("(b)", "of which start() itself, until it returned", untilReturned, "ms", 1);
    m_table.addNote("(b) stopped between runs, and waited for until the port was free and the "
                    "socat gone, untimed.");
}

int BenchRun::waitForBanner(std::int64_t port, const std::string& banner,
                            std::chrono::milliseconds deadline) {
    const auto until = Clock::now() + deadline;
    for (int missed = 0;; ++missed) {
        if (harness::Loopback::firstLine(port, 1s) == banner) {
            return missed;
        }
        if (Clock::now() > until) {
            throw std::runtime_error("no connection through the listen port reached " + banner);
        }
        Interruption::sleepFor(std::chrono::microseconds(250));
    }
}

void BenchRun::measureTargetMove() {
    const BannerServer first("velquor-bench target A");
    const BannerServer second("velquor-bench target B");
    auto& controller = m_controller->controller();
    if (!controller.refreshRuntimeStatus().socatRuntimeStatus.isRunning()) {
        m_controller->start();
    }
    m_discovery->pointAt(first.port());
    controller.healthCheck();
    waitForBanner(m_controller->listenPort(), first.banner(), 5s);

    Samples untilReached, untilReturned;
    const BannerServer* current = &first;
    for (int run = 0; run < m_options.runs; ++run) {
        const BannerServer* next = current == &first ? &second : &first;
        m_discovery->pointAt(next->port());
        // Lets the forwarder the last move left behind settle, untimed.
        Interruption::sleepFor(100ms);
        const auto started = Clock::now();
        controller.healthCheck();
        const auto returned = Clock::now();
        waitForBanner(m_controller->listenPort(), next->banner(), 5s);
        const auto reached = Clock::now();
        untilReached.add(millisecondsBetween(started, reached));
        untilReturned.add(millisecondsBetween(started, returned));
        current = next;
    }
    m_table.addMedian("(c)",
                      "target move: healthCheck() start until a new connection reaches "
                      "the new target",
                      untilReached, "ms", 1,
                      "< " + BenchTable::number(moveTargetMilliseconds, 0) + " ms",
                      untilReached.median() < moveTargetMilliseconds);
    m_table.addMedian("(c)", "of which healthCheck() itself, until it returned", untilReturned,
                      "ms", 1);
    m_table.addNote("(c) two loopback TCP servers told apart by the line they send; each run "
                    "moves the target from one to the other.");
}

void BenchRun::measureThroughput() {
    auto& controller = m_controller->controller();
    m_discovery->pointAt(m_target->port());
    if (!controller.healthCheck().socatRuntimeStatus.isRunning()) {
        m_controller->start();
    }
    m_controller->waitUntilAccepting(5s);

    const auto referencePort = harness::Loopback::freePort();
    const SocatCommand command(DefaultController::resolveSocatURL(), "127.0.0.1", referencePort,
                               TargetEndpoint("127.0.0.1", m_target->port()));
    std::vector<std::string> arguments = {"-b", referenceSocatBuffer};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    harness::ChildProcess reference(command.executableURL, arguments,
                                    m_folder / "reference-socat.out");

    struct Path {
        std::string name;
        std::int64_t port;
        Samples megabytes;
        Samples iops;
    };
    std::array<Path, 3> paths{{{"direct", m_target->port(), {}, {}},
                               {"forwarded", m_controller->listenPort(), {}, {}},
                               {"reference", referencePort, {}, {}}}};
    Samples forwardedRatio, referenceRatio;
    const IscsiPerf perf(m_folder.path(), perfBlocksPerRequest, perfMaxRequests);
    try {
        const auto until = Clock::now() + 5s;
        NetworkPortChecker checker;
        while (!checker.isListening("127.0.0.1", referencePort)) {
            if (reference.hasExited() || Clock::now() > until) {
                throw std::runtime_error("the reference socat did not listen");
            }
            Interruption::sleepFor(1ms);
        }
        for (int round = 0; round < m_options.perfRounds; ++round) {
            std::array<double, 3> megabytes{};
            for (std::size_t k = 0; k < paths.size(); ++k) {
                // Rotating the order spreads whatever drifts during a round over all paths.
                const auto index = (static_cast<std::size_t>(round) + k) % paths.size();
                auto& path = paths[index];
                const auto rate = perf.measure(m_target->lunUrl(path.port), m_options.perfSeconds);
                path.megabytes.add(rate.megabytesPerSecond);
                path.iops.add(rate.iops);
                megabytes[index] = rate.megabytesPerSecond;
            }
            forwardedRatio.add(megabytes[1] / megabytes[0]);
            referenceRatio.add(megabytes[2] / megabytes[0]);
        }
    } catch (...) {
        reference.kill();
        ForwarderSweep::killSocatsOn(referencePort);
        throw;
    }
    reference.kill();
    ForwarderSweep::killSocatsOn(referencePort);

    const auto& [direct, forwarded, referenced] = paths;
    const auto flags =
        "-b " + std::to_string(perfBlocksPerRequest) + " -m " + std::to_string(perfMaxRequests);
    m_table.addMedian("(d)", "iscsi-perf " + flags + " read through the forwarder",
                      forwarded.megabytes, "MB/s", 0);
    m_table.addMedian("(d)", "iscsi-perf " + flags + " read directly from tgtd", direct.megabytes,
                      "MB/s", 0);
    const auto ratio = forwarded.megabytes.median() / direct.megabytes.median();
    m_table.addValue("(d)", "forwarded / direct (ratio of medians)", BenchTable::number(ratio, 2),
                     "per round " + BenchTable::number(forwardedRatio.minimum(), 2) + " .. " +
                         BenchTable::number(forwardedRatio.maximum(), 2),
                     ">= " + BenchTable::number(throughputRatioExpected, 2) + " (expected about " +
                         BenchTable::number(throughputRatioExpected, 2) + ")",
                     ratio >= throughputRatioExpected);
    m_table.addMedian("(d)",
                      std::string("reference, not Qarvex's command: the same socat with -b ") +
                          referenceSocatBuffer,
                      referenced.megabytes, "MB/s", 0);
    m_table.addValue(
        "(d)", "reference / direct (ratio of medians)",
        BenchTable::number(referenced.megabytes.median() / direct.megabytes.median(), 2),
        "per round " + BenchTable::number(referenceRatio.minimum(), 2) + " .. " +
            BenchTable::number(referenceRatio.maximum(), 2));
    m_table.addNote("(d) median IOPS of " + std::to_string(perfBlocksPerRequest * 512 / 1024) +
                    " KiB reads: forwarded " + BenchTable::number(forwarded.iops.median(), 0) +
                    ", direct " + BenchTable::number(direct.iops.median(), 0) + ", reference " +
                    BenchTable::number(referenced.iops.median(), 0) +
                    ". Each run's figure is the mean of iscsi-perf's per-second lines from the "
                    "second one on (MB as iscsi-perf prints it: MiB); 64 MiB sparse LUN, read "
                    "sequentially from memory.");
}

void BenchRun::measureIdleDaemon() {
    m_controller->stopAndSettle();
    m_discovery->pointAt(m_target->port());
    const auto home = m_folder / "home";
    fs::create_directories(home);
    const QarvexdProcess daemon(home, harness::Loopback::freePort(), m_discovery->url(),
                                m_options.checkIntervalSeconds);
    daemon.waitUntilForwarding(15s);
    // Start-up is not idleness: the window opens once loading and the first start are over.
    Interruption::sleepFor(1s);
    const auto checksBefore = occurrences(daemon.logFile(), "Health check");
    const auto memoryBefore = ProcessUsage::memory(daemon.pid());
    const auto cpuBefore = ProcessUsage::cpu(daemon.pid());
    Interruption::sleepFor(std::chrono::seconds(m_options.idleSeconds));
    const auto cpuAfter = ProcessUsage::cpu(daemon.pid());
    const auto memory = ProcessUsage::memory(daemon.pid());
    const auto mappings = ProcessUsage::residentByMapping(daemon.pid());
    const auto checks = occurrences(daemon.logFile(), "Health check") - checksBefore;

    const auto megabytes = [](std::int64_t kib) {
        return BenchTable::number(static_cast<double>(kib) * 1024 / 1e6, 2) + " MB";
    };
    const auto idle = std::to_string(m_options.idleSeconds) + " s idle";
    const auto setting = " (forwarding, checkIntervalSeconds " +
                         std::to_string(m_options.checkIntervalSeconds) + ")";
    const auto resident = static_cast<double>(memory.residentKib) * 1024 / 1e6;
    m_table.addValue("(e)", "qarvexd VmRSS after " + idle + setting, megabytes(memory.residentKib),
                     "RssAnon " + megabytes(memory.anonymousKib) + ", RssFile " +
                         megabytes(memory.fileKib) + ", Pss " + megabytes(memory.proportionalKib) +
                         ", VmHWM " + megabytes(memory.peakKib) + "; VmRSS " +
                         megabytes(memoryBefore.residentKib) + " when the window opened",
                     "< " + BenchTable::number(residentTargetMegabytes, 0) + " MB",
                     resident < residentTargetMegabytes);
    const auto cpu = cpuAfter.ownSeconds - cpuBefore.ownSeconds;
    m_table.addValue(
        "(e)", "qarvexd CPU (utime + stime) over " + idle + setting,
        BenchTable::number(cpu, 2) + " s",
        "scheduler's count " +
            BenchTable::number(cpuAfter.scheduledSeconds - cpuBefore.scheduledSeconds, 4) + " s; " +
            std::to_string(checks) + " health checks; reaped children " +
            BenchTable::number(cpuAfter.waitedChildrenSeconds - cpuBefore.waitedChildrenSeconds,
                               2) +
            " s",
        "< " + BenchTable::number(idleCpuTargetSeconds, 2) + " s", cpu < idleCpuTargetSeconds);

    std::size_t libraries = 0;
    std::string largest;
    for (const auto& [name, kib] : mappings) {
        libraries += name.find(".so") != std::string::npos;
        if (largest.size() < 400 && kib >= 100) {
            largest += (largest.empty() ? "" : ", ") + fs::path(name).filename().string() + " " +
                       megabytes(kib);
        }
    }
    m_table.addNote("(e) resident by mapping: " + largest + "; " + std::to_string(libraries) +
                    " shared libraries mapped.");
    m_table.addNote("(e) /proc/<pid>/stat counts in clock ticks of " +
                    BenchTable::number(1.0 / static_cast<double>(::sysconf(_SC_CLK_TCK)), 2) +
                    " s; MB are 10^6 bytes. The targets are for 60 idle seconds.");
}

// A fresh program per run: kills in a row would be a forwarder that keeps dying, which backs
// off on purpose.
void BenchRun::measureHealAtOnce() {
    m_controller->stopAndSettle();
    m_discovery->pointAt(m_target->port());
    for (const fs::path program : {QARVEXD_PATH, QARVEX_PATH}) {
        const auto name = program.filename().string();
        Samples untilServing;
        for (int run = 0; run < m_options.runs; ++run) {
            const auto port = harness::Loopback::freePort();
            const QarvexdProcess forwarder(
                freshHome(m_folder / (name + "-heal-" + std::to_string(run))), port,
                m_discovery->url(), longCheckIntervalSeconds, program);
            waitUntilStarted(forwarder, port, 30s);
            const auto startsBefore = occurrences(forwarder.logFile(), "socat started [PID=");
            const auto started = Clock::now();
            ::kill(lastStartedPid(forwarder.logFile()), SIGKILL);
            NetworkPortChecker checker;
            while (occurrences(forwarder.logFile(), "socat started [PID=") == startsBefore ||
                   !checker.isListening("127.0.0.1", port)) {
                if (Clock::now() - started > 75s) {
                    throw std::runtime_error(name +
                                             " did not heal: " + contentOf(forwarder.logFile()));
                }
                Interruption::sleepFor(250us);
            }
            untilServing.add(millisecondsBetween(started, Clock::now()));
            // Healed only by the interval: one run tells as much as fifteen.
            if (untilServing.maximum() > 5000) {
                break;
            }
        }
        m_table.addMedian("(f)",
                          name + ": socat killed with SIGKILL until the port serves again "
                                 "(checkIntervalSeconds 60)",
                          untilServing, "ms", 1,
                          "< " + BenchTable::number(healTargetMilliseconds, 0) + " ms",
                          untilServing.median() < healTargetMilliseconds);
    }
    m_table.addNote("(f) a fresh qarvexd or qarvex (offscreen) per run, so that no run meets the "
                    "back-off of a forwarder that keeps dying; serving again = a new start logged "
                    "and the port accepting. A program that heals only at its interval is "
                    "measured once.");
}

// A loopback address added or removed is a network change to qarvexd's netlink watch; the
// early check then waits for the network to settle (2 s) before it asks discovery again.
void BenchRun::measureNetworkChange() {
    m_controller->stopAndSettle();
    const BannerServer first("velquor-bench target A");
    const BannerServer second("velquor-bench target B");
    m_discovery->pointAt(first.port());
    const auto home = m_folder / "network";
    fs::create_directories(home);
    const auto port = harness::Loopback::freePort();
    const QarvexdProcess daemon(home, port, m_discovery->url(), longCheckIntervalSeconds);
    daemon.waitUntilForwarding(15s);
    const auto reaches = [&](const BannerServer& server) {
        return harness::Loopback::firstLine(port, 1s) == server.banner();
    };
    const BannerServer* current = &first;
    Samples untilReached;
    const int runs = std::min(m_options.runs, 6);
    for (int run = 0; run < runs; ++run) {
        const BannerServer* next = current == &first ? &second : &first;
        m_discovery->pointAt(next->port());
        Interruption::sleepFor(100ms);
        const auto started = Clock::now();
        runIp(std::string(run % 2 == 0 ? "addr add" : "addr del") + " 127.0.0.9/8 dev lo");
        while (!reaches(*next)) {
            if (Clock::now() - started > 30s) {
                throw std::runtime_error("no connection reached the moved target: " +
                                         contentOf(daemon.logFile()));
            }
            Interruption::sleepFor(1ms);
        }
        untilReached.add(millisecondsBetween(started, Clock::now()));
        current = next;
        Interruption::sleepFor(500ms);
    }
    if (runs % 2 == 1) {
        runIp("addr del 127.0.0.9/8 dev lo");
    }
    m_table.addMedian("(g)",
                      "qarvexd: network change (address on lo) until a new connection reaches "
                      "the moved target (checkIntervalSeconds 60)",
                      untilReached, "ms", 1, "settle 2000 ms + move");
    m_table.addNote("(g) the early check waits on purpose for the network to settle (2 s after "
                    "the last event); resume from suspend takes the same path after its clock "
                    "jump and cannot be simulated here.");
}

// Kills in a row meet the restart back-off (0, 0.2, 1, 5 s, then the interval): the waits it
// sets are to be spent asleep, not woken again and again by the forwarder that just died.
void BenchRun::measureRepeatedKills() {
    m_controller->stopAndSettle();
    m_discovery->pointAt(m_target->port());
    const auto home = m_folder / "kills";
    fs::create_directories(home);
    const auto port = harness::Loopback::freePort();
    const QarvexdProcess daemon(home, port, m_discovery->url(), longCheckIntervalSeconds);
    daemon.waitUntilForwarding(15s);
    const auto startsBefore = occurrences(daemon.logFile(), "socat started [PID=");
    const auto cpuBefore = ProcessUsage::cpu(daemon.pid());
    int found = 0;
    const int kills = repeatedKillsWindowSeconds / static_cast<int>(repeatedKillsPeriod.count());
    for (int kill = 0; kill < kills; ++kill) {
        Interruption::sleepFor(repeatedKillsPeriod);
        found += NetworkPortChecker().isListening("127.0.0.1", port);
        // Only a socat that lsof finds listening on the port the bench gave it.
        ForwarderSweep::killSocatsOn(port);
    }
    const auto cpuAfter = ProcessUsage::cpu(daemon.pid());
    const auto cpu = cpuAfter.ownSeconds - cpuBefore.ownSeconds;
    const auto starts = occurrences(daemon.logFile(), "socat started [PID=") - startsBefore;
    m_table.addValue(
        "(h)",
        "qarvexd CPU (utime + stime) over " + std::to_string(repeatedKillsWindowSeconds) +
            " s, its socat killed with SIGKILL every 5 s (checkIntervalSeconds 60)",
        BenchTable::number(cpu, 2) + " s",
        "scheduler's count " +
            BenchTable::number(cpuAfter.scheduledSeconds - cpuBefore.scheduledSeconds, 4) + " s; " +
            std::to_string(found) + " of " + std::to_string(kills) + " kills found it serving; " +
            std::to_string(starts) + " starts",
        "< " + BenchTable::number(repeatedKillsCpuTargetSeconds, 1) + " s",
        cpu < repeatedKillsCpuTargetSeconds);
    m_table.addNote("(h) after the fourth exit in a row the next check waits for the interval, so "
                    "later kills find nothing to kill until it has passed.");
}

// A fresh program per run: early checks are at least 5 s apart, so a second move in one program
// would wait for the floor.
void BenchRun::measureMoveFromRefusingTarget() {
    m_controller->stopAndSettle();
    const BannerServer moved("velquor-bench moved target");
    for (const fs::path program : {QARVEXD_PATH, QARVEX_PATH}) {
        const auto name = program.filename().string();
        Samples untilReached, missed;
        for (int run = 0; run < m_options.runs; ++run) {
            Interruption::check();
            // Nobody listens there: every connection to it is refused.
            m_discovery->pointAt(harness::Loopback::freePort());
            const auto port = harness::Loopback::freePort();
            const QarvexdProcess forwarder(
                freshHome(m_folder / (name + "-refused-" + std::to_string(run))), port,
                m_discovery->url(), longCheckIntervalSeconds, program);
            waitUntilStarted(forwarder, port, 30s);
            const auto checksBefore = occurrences(forwarder.logFile(), earlyConnectionCheck);
            m_discovery->pointAt(moved.port());
            const auto started = Clock::now();
            try {
                missed.add(waitForBanner(port, moved.banner(), 15s));
            } catch (const std::runtime_error& error) {
                throw std::runtime_error(error.what() + (": " + contentOf(forwarder.logFile())));
            }
            untilReached.add(millisecondsBetween(started, Clock::now()));
            if (occurrences(forwarder.logFile(), earlyConnectionCheck) == checksBefore) {
                throw std::runtime_error(
                    name + " moved without an early check: " + contentOf(forwarder.logFile()));
            }
        }
        m_table.addMedian("(i)",
                          name + ": target moved and the old address refusing: from the first "
                                 "failed connection until a connection reaches the new target "
                                 "(checkIntervalSeconds 60)",
                          untilReached, "ms", 1,
                          "< " + BenchTable::number(refusedMoveTargetMilliseconds, 0) + " ms",
                          untilReached.median() < refusedMoveTargetMilliseconds);
        m_table.addNote("(i) " + name + ": connections that failed before one reached the new " +
                        "target: " + BenchTable::number(missed.minimum(), 0) + " .. " +
                        BenchTable::number(missed.maximum(), 0) + " per run.");
    }
    m_table.addNote("(i) a fresh qarvexd or qarvex (offscreen) per run, forwarding to a loopback "
                    "port nobody listens on; discovery then names a server that sends a line. "
                    "The first connection fails: socat accepts it, cannot reach the old address "
                    "and closes it, and the early check it sets off finds the new target.");
}

void BenchRun::measureFailingClient() {
    m_controller->stopAndSettle();
    m_discovery->pointAt(harness::Loopback::freePort());
    const auto port = harness::Loopback::freePort();
    const QarvexdProcess daemon(freshHome(m_folder / "failing"), port, m_discovery->url(),
                                longCheckIntervalSeconds);
    waitUntilStarted(daemon, port, 15s);
    const auto checksBefore = occurrences(daemon.logFile(), earlyConnectionCheck);
    const auto warningsBefore = occurrences(daemon.logFile(), connectionWarning);
    const auto cpuBefore = ProcessUsage::cpu(daemon.pid());
    int connections = 0;
    int answered = 0;
    const auto opened = Clock::now();
    // Absolute deadlines: a slow connection does not lower the rate.
    for (auto next = opened; next < opened + std::chrono::seconds(failingClientWindowSeconds);
         next += failingClientPeriod) {
        Interruption::sleepFor(
            std::chrono::duration_cast<std::chrono::microseconds>(next - Clock::now()));
        answered += harness::Loopback::firstLine(port, 1s).has_value();
        ++connections;
    }
    const auto cpuAfter = ProcessUsage::cpu(daemon.pid());
    const auto cpu = cpuAfter.ownSeconds - cpuBefore.ownSeconds;
    const auto checks = occurrences(daemon.logFile(), earlyConnectionCheck) - checksBefore;
    const auto warnings = occurrences(daemon.logFile(), connectionWarning) - warningsBefore;
    m_table.addValue(
        "(j)",
        "qarvexd CPU (utime + stime) over " + std::to_string(failingClientWindowSeconds) +
            " s while a client makes 100 failing connections a second (checkIntervalSeconds 60)",
        BenchTable::number(cpu, 2) + " s",
        std::to_string(connections) + " connections, " + std::to_string(answered) + " answered; " +
            std::to_string(checks) + " early checks; " + std::to_string(warnings) +
            " warnings; scheduler's count " +
            BenchTable::number(cpuAfter.scheduledSeconds - cpuBefore.scheduledSeconds, 4) + " s",
        "< " + BenchTable::number(failingClientCpuTargetSeconds, 0) + " s",
        cpu < failingClientCpuTargetSeconds);
    m_table.addNote("(j) discovery keeps naming a loopback port nobody listens on, so every "
                    "connection is refused at socat's side and closed; early checks are at least "
                    "5 s apart (about 12 a minute) and the warning repeats at most once a minute "
                    "with a count.");
}

} // namespace velquor::bench
