#pragma once

#include "bench/BenchController.h"
#include "bench/BenchOptions.h"
#include "bench/BenchTable.h"
#include "bench/RedirectServer.h"
#include "support/harness/IscsiTarget.h"
#include "support/harness/TemporaryDirectory.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

namespace velquor::bench {

// One full bench run on loopback: a tgtd target, a discovery endpoint redirecting to it and
// the real controller forwarding to it, measured one figure after another. A measurement that fails
// is reported in the table and the others still run; everything started is stopped when the run
// goes.
class BenchRun {
public:
    // Throws std::runtime_error when the run cannot be set up (not root, a tool missing).
    explicit BenchRun(const BenchOptions& options);

    void execute();
    void print(std::ostream& out) const;

private:
    void measureHealthCheck();
    void measureStart();
    void measureTargetMove();
    void measureThroughput();
    void measureIdleDaemon();
    void measureHealAtOnce();
    void measureNetworkChange();
    void measureRepeatedKills();
    void measureMoveFromRefusingTarget();
    void measureFailingClient();
    template <typename Measurement>
    void attempt(const std::string& item, const std::string& figure, Measurement&& measurement);
    // Returns how many connections before it did not reach the banner.
    static int waitForBanner(std::int64_t port, const std::string& banner,
                             std::chrono::milliseconds deadline);

    BenchOptions m_options;
    // Declared first so that it goes last, after everything that keeps files in it.
    harness::TemporaryDirectory m_folder;
    std::string m_machine;
    std::unique_ptr<harness::IscsiTarget> m_target;
    std::unique_ptr<RedirectServer> m_discovery;
    std::unique_ptr<BenchController> m_controller;
    BenchTable m_table;
};

} // namespace velquor::bench
