// Errors in the forwarded traffic run the health check at once: real programs and socat, real
// refused connections, the interval at 60 s, so anything sooner was triggered by the traffic.
#include "support/harness/BannerServer.h"
#include "tests/e2e/WholeSystem.h"
#include "tests/support/ScopedEnvironment.h"

#include <regex>
#include <thread>

namespace velquor::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using harness::BannerServer;
using harness::Loopback;

// Well before the 60 s interval.
constexpr auto healDeadline = 15s;

class PassiveCheckTest : public QarvexdTest {
protected:
    // The forwarder starts towards a target that refuses every connection.
    void SetUp() override {
        QarvexdTest::SetUp();
        m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_refusing));
        auto json = config(true);
        json["checkIntervalSeconds"] = 60;
        json["failureThreshold"] = 2;
        json["target"] = TargetEndpoint("127.0.0.1", m_refusing).toJson();
        writeConfig(json);
    }

    std::string refusedAt() const { return "127.0.0.1:" + std::to_string(m_refusing); }

    std::int64_t m_refusing = freeTcpPort();
};

class PassiveCheckProgramTest : public PassiveCheckTest,
                                public ::testing::WithParamInterface<const char*> {};

TEST_P(PassiveCheckProgramTest, AMovedTargetIsFoundAtTheFirstFailedConnection) {
    startDaemon(GetParam());
    ASSERT_TRUE(waitUntil([&] { return listensOnLoopback(m_listenPort); })) << log();
    const BannerServer moved("moved target");
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", moved.port()));

    EXPECT_FALSE(Loopback::firstLine(m_listenPort, 2s)) << "the old target answered";
    EXPECT_TRUE(waitUntil([&] { return Loopback::firstLine(m_listenPort, 1s) == moved.banner(); },
                          healDeadline))
        << log();
    const auto text = log();
    for (const auto& line :
         {"WARNING: Forwarded connection to " + refusedAt() + " failed: Connection refused",
          "Health check early: connection to " + refusedAt() + " failed: Connection refused",
          "Target changed: " + refusedAt() + " -> 127.0.0.1:" + std::to_string(moved.port())}) {
        EXPECT_EQ(occurrences(text, line), 1u) << line << "\n" << text;
    }
}

// A socat an earlier run left on the port: found at the start, kept, and healed at once when it
// dies.
TEST_P(PassiveCheckProgramTest, AnAdoptedForwarderThatDiesIsReplacedAtOnce) {
    harness::ChildProcess left(
        harness::SystemTool::find("socat"),
        {"TCP-LISTEN:" + std::to_string(m_listenPort) + ",bind=127.0.0.1,reuseaddr,fork",
         "TCP:" + refusedAt() + ",nodelay,keepalive"},
        m_home / "left.out");
    ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
    startDaemon(GetParam());
    // Watched once it holds a descriptor for the socat's exit.
    ASSERT_TRUE(waitUntil([&] {
        return std::ranges::count(openDescriptorTargets(m_daemon->pid()), "anon_inode:[pidfd]") > 0;
    })) << log();
    EXPECT_EQ(occurrences(log(), "socat started"), 0u) << log();

    left.kill();
    EXPECT_TRUE(waitForLog("socat started [PID=", 1, healDeadline)) << log();
    EXPECT_EQ(occurrences(log(), "Health check early: forwarder exited [PID=" +
                                     std::to_string(left.pid()) + "]"),
              1u)
        << log();
    EXPECT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
}

INSTANTIATE_TEST_SUITE_P(Programs, PassiveCheckProgramTest,
                         ::testing::Values(QARVEXD_PATH, QARVEX_PATH),
                         [](const auto& info) { return fs::path(info.param).filename().string(); });

// A client that keeps failing: one early check per 5 s and one warning, none caused by our own
// checks once it stops, and every socat line on standard error as socat wrote it.
TEST_F(PassiveCheckTest, ManyFailedConnectionsAreRateLimitedAndRelayedUnchanged) {
    startDaemon();
    ASSERT_TRUE(waitUntil([&] { return listensOnLoopback(m_listenPort); })) << log();
    int attempts = 0;
    for (const auto until = std::chrono::steady_clock::now() + 3s;
         std::chrono::steady_clock::now() < until; ++attempts) {
        Loopback::firstLine(m_listenPort, 1s);
        std::this_thread::sleep_for(20ms); // a client's pace, not a wait for a condition
    }
    const auto earlyCheck = "Health check early: connection to " + refusedAt();
    EXPECT_TRUE(waitForLog(earlyCheck, 2, healDeadline)) << log();
    EXPECT_FALSE(waitUntil([&] { return occurrences(log(), earlyCheck) > 2; }, 7s)) << log();
    EXPECT_EQ(occurrences(log(), "WARNING: Forwarded connection to " + refusedAt()), 1u) << log();
    // Counted as an unreachable target: the threshold is 2.
    EXPECT_EQ(occurrences(log(), "WARNING: Health check failing 2 times"), 1u) << log();

    const std::regex socatLine(R"(\n\d{4}/\d\d/\d\d \d\d:\d\d:\d\d socat\[\d+\] E connect\(\d+, )"
                               R"(AF=2 127\.0\.0\.1:)" +
                               std::to_string(m_refusing) + R"(, 16\): Connection refused\n)");
    const auto out = output();
    const auto relayed = std::distance(std::sregex_iterator(out.begin(), out.end(), socatLine),
                                       std::sregex_iterator());
    EXPECT_GE(relayed, attempts / 2) << attempts << " attempts\n" << out;
}

// A socat that floods its standard error without a line end: relayed in pieces, never held.
TEST_F(PassiveCheckTest, ASocatWritingMegabytesKeepsMemoryFlat) {
    constexpr auto flood = 64 << 20;
    // AddressSanitizer keeps freed memory in a quarantine of up to 256 MB; without one the peak
    // is the program's own.
    ScopedEnvironment environment;
    const char* sanitizer = std::getenv("ASAN_OPTIONS");
    environment.set("ASAN_OPTIONS",
                    std::string(sanitizer ? sanitizer : "") + ":quarantine_size_mb=0");
    // The pipe does not block its writers: this one tries again until all of it went through.
    startDaemon(installWithSocat("perl -e '$b = \"x\" x 65536; for ($n = 0; $n < " +
                                 std::to_string(flood) +
                                 ";) { $n += syswrite(STDERR, $b) // 0 }'"));
    ASSERT_TRUE(waitUntil([&] { return fs::file_size(m_home / "qarvexd.out") > flood; }, 60s));
    ASSERT_TRUE(waitUntil([&] { return isListening(m_listenPort); }));
    const auto status = readFile("/proc/" + std::to_string(m_daemon->pid()) + "/status");
    const auto kilobytes = [&](const char* field) {
        std::smatch value;
        return std::regex_search(status, value, std::regex(field + std::string(R"(:\s+(\d+) kB)")))
                   ? std::stol(value[1])
                   : -1;
    };
    // The peak beyond the program's mapped files: held whole, the flood alone would be 64 MB.
    EXPECT_LT(kilobytes("VmHWM") - kilobytes("RssFile"), 32 * 1024) << status;
}

} // namespace
} // namespace velquor::test
