#include "core/forwarding/LsofListenerProbe.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/PosixProcessTerminator.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/forwarding/ProcForwarderOwnershipChecker.h"
#include "core/process/ChildReaper.h"
#include "tests/support/ChildProcessGuard.h"
#include "tests/support/Files.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/ProcessInspection.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Wait.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <future>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velquor {

// Internal linkage: another test file may print the struct its own way.
[[maybe_unused]] static void PrintTo(const ListenerProcess& process, std::ostream* out) {
    *out << process.commandName << "[" << process.processIdentifier << "]";
}

namespace {

namespace fs = std::filesystem;
using test::readFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

const std::string listening = "socat 4711 user 5u IPv4 0x1234 0t0 TCP 127.0.0.1:18082 (LISTEN)";
const ListenerProcess socat{"socat", 4711};

TEST(LsofListenerProbe, AppliesTheLineRules) {
    struct Case {
        std::string line, host;
        std::optional<ListenerProcess> listener; // by parse
        bool process;                            // found by parseProcesses as the listener is
    };
    const std::vector<Case> cases = {
        {listening, "127.0.0.1", socat, true},
        {"socat\t4711  u 5u\tIPv4 0x1 0t0 TCP 127.0.0.1:18082 (LISTEN)", "127.0.0.1", socat, true},
        {"socat 4711 u 5u IPv4 0x1 0t0 TCP localhost:18082 (LISTEN)", "127.0.0.1", socat, true},
        // A wildcard listener is not the loopback forwarder; for other hosts no host test.
        {"socat 4711 u 5u IPv4 0x1 0t0 TCP *:18082 (LISTEN)", "127.0.0.1", std::nullopt, false},
        {"socat 4711 u 5u IPv4 0x1 0t0 TCP *:18082 (LISTEN)", "0.0.0.0", socat, true},
        {"socat 4711 u 6u IPv4 0x1 0t0 TCP 127.0.0.1:18082->127.0.0.1:5 (ESTABLISHED)", "127.0.0.1",
         std::nullopt, true},
        {"socat 4711 u 5u IPv4 0x1 0t0 TCP 127.0.0.1:180820 (LISTEN)", "127.0.0.1", socat, true},
        {"socat 4711 u 5u IPv4 0x1 0t0 TCP 127.0.0.1:18083 (LISTEN)", "127.0.0.1", {}, false},
        {"socat 4711 u 5u IPv4 0x1 0t0 UDP 127.0.0.1:18082 (LISTEN)", "127.0.0.1", {}, false},
        {"COMMAND PID USER FD TYPE DEVICE SIZE/OFF NODE NAME TCP :18082 (LISTEN)", "h", {}, false},
        {"socat", "h", std::nullopt, false},
        {"socat 4711x u TCP *:18082 (LISTEN)", "h", std::nullopt, false},
        {"socat +4711 u TCP *:18082 (LISTEN)", "h", socat, true},
        {"socat -7 u TCP *:18082 (LISTEN)", "h", ListenerProcess{"socat", -7}, true},
        {"socat +-7 u TCP *:18082 (LISTEN)", "h", std::nullopt, false},
        {"socat 2147483648 u TCP *:18082 (LISTEN)", "h", std::nullopt, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(LsofListenerProbe::parse(c.line, c.host, 18082), c.listener) << c.line;
        const auto all = LsofListenerProbe::parseProcesses(c.line, c.host, 18082);
        EXPECT_EQ(all, c.process ? std::vector{c.listener.value_or(socat)}
                                 : std::vector<ListenerProcess>{})
            << c.line;
    }
}

// In lsof's place, a script that records its arguments, prints the output and ends as told.
class FakeLsofTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_lsof = m_dir / "lsof";

    void writeLsof(const std::string& output, const std::string& ending) {
        std::ofstream(m_dir / "output", std::ios::binary) << output;
        std::ofstream(m_lsof) << "#!/bin/sh\ncd " + m_dir.path().string() +
                                     "\nprintf '%s\\n' \"$@\" > arguments\ncat output\n" + ending;
        fs::permissions(m_lsof, fs::perms::owner_all);
    }
};

// The listener is the first listening line; the processes are every line, in order, repeats kept.
// lsof reads nothing, and what it writes to its standard error is not part of the listing.
TEST_F(FakeLsofTest, AsksLsofForTheListenerOrEveryProcessOnThePort) {
    writeLsof("COMMAND PID USER FD TYPE DEVICE SIZE/OFF NODE NAME\n\n"
              "nc 12 u 3u IPv4 0x1 0t0 TCP 127.0.0.1:18082->127.0.0.1:1 (ESTABLISHED)\n"
              "socat 34 u 5u IPv4 0x1 0t0 TCP 127.0.0.1:18082 (LISTEN)\n"
              "socat 34 u 6u IPv6 0x1 0t0 TCP 127.0.0.1:18082 (LISTEN)\n"
              "python3 56 u 5u IPv4 0x1 0t0 TCP 127.0.0.1:18082 (LISTEN)\n",
              "read -r line && exit 1\necho 'nc 9 u 3u IPv4 0x1 0t0 TCP 127.0.0.1:18082' >&2");
    LsofListenerProbe probe(m_lsof);
    EXPECT_EQ(probe.listener("127.0.0.1", 18082), (ListenerProcess{"socat", 34}));
    EXPECT_EQ(readFile(m_dir / "arguments"), "-nP\n-iTCP:18082\n-sTCP:LISTEN\n");
    EXPECT_THAT(probe.processes("127.0.0.1", 18082),
                ElementsAre(ListenerProcess{"nc", 12}, ListenerProcess{"socat", 34},
                            ListenerProcess{"socat", 34}, ListenerProcess{"python3", 56}));
    EXPECT_EQ(readFile(m_dir / "arguments"), "-nP\n-iTCP:18082\n");
}

// Two-byte characters, one cut by the output limit, would make the whole output unreadable. What
// runs on to twice the limit must be read and dropped, or lsof would stall on a full pipe.
TEST_F(FakeLsofTest, FindsNothingWhenLsofFailsOrPrintsNoTextAndDropsTheLineCutByTheLimit) {
    std::string cut = listening + " \n"; // the space puts the limit inside a character
    while (cut.size() <= 2 * 1024 * 1024) {
        cut += "\xC3\xA9";
    }
    const std::vector<std::tuple<std::string, std::string, std::optional<ListenerProcess>>> cases =
        {
            {listening, "exit 1", std::nullopt},
            {listening, "kill -KILL $$", std::nullopt},
            {"socat\xFF 1 u 5u IPv4 0x1 0t0 TCP 127.0.0.1:18082 (LISTEN)\n" + listening, "exit 0",
             std::nullopt},
            {cut + "\n", "exit 0", socat},
        };
    LsofListenerProbe probe(m_lsof);
    for (const auto& [output, ending, listener] : cases) {
        writeLsof(output, ending);
        EXPECT_EQ(probe.listener("127.0.0.1", 18082), listener) << ending;
        EXPECT_EQ(probe.processes("127.0.0.1", 18082).size(), listener ? 1u : 0u) << ending;
    }
}

// An lsof that hangs, with its output open or closed, is killed and reaped and the error says
// how long it had; a probe built without a limit gives it 10 s.
TEST_F(FakeLsofTest, KillsAndReapsAnLsofThatOverrunsAndSaysSo) {
    const std::vector<std::tuple<std::string, std::chrono::milliseconds, std::string>> cases = {
        {"exec sleep 30", LsofListenerProbe(m_lsof).timeout(), "within 10 s"},
        {"exec >&-; exec sleep 30", std::chrono::milliseconds(200), "within 200 ms"},
    };
    for (const auto& [ending, timeout, limit] : cases) {
        writeLsof("", "echo $$ > pid\n" + ending);
        LsofListenerProbe probe(m_lsof, timeout);
        EXPECT_THAT([&] { probe.listener("127.0.0.1", 18082); },
                    ThrowsMessage<std::system_error>(HasSubstr(
                        m_lsof.string() + " -nP -iTCP:18082 -sTCP:LISTEN did not finish " + limit +
                        ": Connection timed out")));
        EXPECT_EQ(test::processState(std::stoi(readFile(m_dir / "pid"))), std::nullopt)
            << "left running or a zombie";
    }
}

// How fast the probe answers belongs to the benchmark; the deadline here only catches a hang.
bool isListeningWithin(const std::string& host, std::int64_t port) {
    auto answer = std::async(std::launch::async,
                             [=] { return NetworkPortChecker().isListening(host, port); });
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        ADD_FAILURE() << "the probe of " << host << ":" << port << " hung";
    }
    return answer.get();
}

TEST(NetworkPortChecker, SeesAListenerAndNothingWhereNoneAnswers) {
    const test::LoopbackListener listener;
    // With a backlog of 0 the kernel drops further handshakes; the connect would hang.
    const test::LoopbackListener full(0);
    ASSERT_TRUE(isListeningWithin("127.0.0.1", full.port()));
    const std::tuple<std::string, std::int64_t, bool> cases[] = {
        {"127.0.0.1", listener.port(), true},
        // localhost may resolve to ::1 first, which refuses: the next address must be tried.
        {"localhost", listener.port(), true},
        {"localhost", test::freeTcpPort(), false},
        {"127.0.0.1", 65536, false},
        {"", listener.port(), false},
    };
    for (const auto& [host, port, listening] : cases) {
        EXPECT_EQ(isListeningWithin(host, port), listening) << host << ":" << port;
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(isListeningWithin("127.0.0.1", full.port()));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900))
        << "gave up on an unanswered connect before its second";
}

// Starts socat forwarding a free port to another free port and waits until it listens.
class LaunchedSocatTest : public ::testing::Test {
protected:
    std::int64_t m_port = test::freeTcpPort();

    std::unique_ptr<SocatProcess> launch(const std::string& host = "127.0.0.1") {
        const SocatCommand command("/usr/bin/socat", host, m_port,
                                   TargetEndpoint(host, test::freeTcpPort()));
        return PosixSocatProcessLauncher().launch(command);
    }
    // Also tells a port that another program took in the meantime: socat then exits at once.
    ::testing::AssertionResult listens(test::ChildProcessGuard& process,
                                       const std::string& host = "127.0.0.1") {
        if (!test::waitUntil([&] { return NetworkPortChecker().isListening(host, m_port); })) {
            return ::testing::AssertionFailure() << "nothing listens on " << m_port;
        }
        if (!process->isRunning()) {
            return ::testing::AssertionFailure() << "socat ended; port " << m_port << " taken?";
        }
        return ::testing::AssertionSuccess();
    }
};

// The real socat, because the address syntax of the command is what it accepts, not what it
// documents.
TEST_F(LaunchedSocatTest, ListensOnABracketedIPv6Host) {
    test::ChildProcessGuard process(launch("[::1]"));
    EXPECT_TRUE(listens(process, "[::1]"));
}

TEST_F(LaunchedSocatTest, IsFoundAsOursAndEndsWhenTerminatedByIdentifier) {
    test::ChildProcessGuard process(launch());
    const auto pid = process.pid();
    ASSERT_TRUE(listens(process));

    LsofListenerProbe probe(LsofListenerProbe::defaultLsofPath());
    const auto listener = probe.listener("127.0.0.1", m_port);
    ASSERT_TRUE(listener);
    EXPECT_TRUE(listener->isSocat()) << listener->commandName;
    EXPECT_EQ(listener->processIdentifier, pid);
    EXPECT_THAT(probe.processes("127.0.0.1", m_port),
                Contains(Field(&ListenerProcess::processIdentifier, pid)));

    // Ours only while a socat holds the listen address or the wildcard.
    const test::LoopbackListener notSocat; // held by this test program
    const std::vector<std::tuple<std::int32_t, std::string, std::int64_t, bool>> cases = {
        {pid, "127.0.0.1", m_port, true},
        {pid, "localhost", m_port, true},
        {pid, "0.0.0.0", m_port, true}, // a wildcard listen host covers every address
        {pid, "[::]", m_port, true},
        {pid, "127.0.0.2", m_port, false},
        {pid, "::1", m_port, false},
        {pid, "127.0.0.1", test::freeTcpPort(), false},
        {pid, "", m_port, false},
        {static_cast<std::int32_t>(::getpid()), "127.0.0.1", notSocat.port(), false},
        {0, "127.0.0.1", m_port, false},
        {-1, "127.0.0.1", m_port, false},
    };
    ProcForwarderOwnershipChecker checker;
    for (const auto& [owner, host, port, owned] : cases) {
        SCOPED_TRACE(std::to_string(owner) + " " + host + ":" + std::to_string(port));
        const auto identity = checker.forwarderIdentity(owner, host, port);
        EXPECT_EQ(identity.has_value(), owned);
        EXPECT_TRUE(!identity || identity->processIdentifier == owner);
    }
    const auto identity = checker.forwarderIdentity(pid, "127.0.0.1", m_port);
    ASSERT_TRUE(identity);
    EXPECT_TRUE(checker.isStillForwarder(*identity));
    // What a reused identifier looks like: the same number, another start time.
    EXPECT_FALSE(checker.isStillForwarder({pid, identity->startTime + 1}));

    PosixProcessTerminator().terminate(pid);
    EXPECT_TRUE(test::waitUntil([&] { return !process->isRunning(); }));
    EXPECT_EQ(test::processState(pid), std::nullopt) << "not reaped";
    EXPECT_FALSE(checker.isStillForwarder(*identity));
    EXPECT_NO_THROW(process->terminate()) << "signalled a reaped identifier";
}

TEST_F(LaunchedSocatTest, ChildHasOnlyOurStandardStreamsAndOnceReleasedIsReapedWhenItExits) {
    int leaked[2];
    ASSERT_EQ(::pipe(leaked), 0); // deliberately without O_CLOEXEC
    const auto marker = fs::read_symlink("/proc/self/fd/" + std::to_string(leaked[0]));
    // A service with a signal-handling thread blocks SIGTERM elsewhere; socat must not inherit it.
    sigset_t termination, previous;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &termination, &previous);
    test::ChildProcessGuard guard(launch());
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    ::close(leaked[0]);
    ::close(leaked[1]);
    const auto pid = guard.pid();
    ASSERT_TRUE(listens(guard));

    EXPECT_THAT(test::openDescriptorTargets(pid), Not(Contains(marker.string())));
    for (const auto stream : {"0", "1", "2"}) {
        EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(pid) + "/fd/" + stream),
                  fs::read_symlink(std::string("/proc/self/fd/") + stream));
    }

    guard.release().reset();
    EXPECT_TRUE(NetworkPortChecker().isListening("127.0.0.1", m_port));
    EXPECT_NE(test::processState(pid).value_or('Z'), 'Z');
    // Ends by SIGTERM only if the signal is not blocked in the child.
    ASSERT_EQ(::kill(pid, SIGTERM), 0);
    EXPECT_TRUE(test::waitUntil([&] {
        ChildReaper::reapAdopted();
        return !test::processState(pid);
    })) << "state "
        << test::processState(pid).value_or('-');
}

TEST(PosixSocatProcessLauncher, FailsNamingAProgramThatCannotBeLaunchedAsTheLsofProbeDoes) {
    const SocatCommand command("/nonexistent/socat", "127.0.0.1", test::freeTcpPort(),
                               TargetEndpoint("127.0.0.1", 3260));
    EXPECT_THAT([&] { PosixSocatProcessLauncher().launch(command); },
                ThrowsMessage<std::system_error>(
                    HasSubstr("launching /nonexistent/socat: No such file or directory")));
    EXPECT_THAT([] { LsofListenerProbe("/nonexistent/lsof").processes("127.0.0.1", 18082); },
                ThrowsMessage<std::system_error>(
                    HasSubstr("launching /nonexistent/lsof: No such file or directory")));
}

TEST(PosixProcessTerminator, TreatsAProcessThatIsGoneAsTerminated) {
    std::int32_t pidMax = 0;
    std::ifstream("/proc/sys/kernel/pid_max") >> pidMax;
    ASSERT_GT(pidMax, 0);
    // Identifiers stay below pid_max, so none can be in use.
    EXPECT_NO_THROW(PosixProcessTerminator().terminate(pidMax));
}

// Tried in a child leading a group of its own: should a refusal be missing, kill(0) reaches that
// group alone rather than the test runner, and the child ends by the signal.
TEST(ProcessSignalling, IdentifiersThatNameProcessGroupsAreNeverSignalled) {
    const std::vector<std::function<void()>> attempts = {
        [] {
            try {
                PosixProcessTerminator().terminate(0);
            } catch (const std::system_error& error) {
                ::_exit(error.code() == std::errc::invalid_argument ? 0 : 2);
            }
            ::_exit(1);
        },
        // The launcher's way to end a child it could not wrap.
        [] {
            ChildReaper::endAndAdopt(0);
            ChildReaper::endAndAdopt(-1);
            ::_exit(0);
        },
    };
    for (const auto& attempt : attempts) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::setpgid(0, 0);
            attempt();
        }
        int status = -1;
        if (!test::waitUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; })) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
        }
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
}

} // namespace
} // namespace velquor
