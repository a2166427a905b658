#include "core/forwarding/LsofListenerProbe.h"

#include "tests/support/Files.h"
#include "tests/support/ProcessInspection.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

namespace velquor {

// Internal linkage: another test file may print the struct its own way.
[[maybe_unused]] static void PrintTo(const ListenerProcess& process, std::ostream* out) {
    *out << process.commandName << "[" << process.processIdentifier << "]";
}

namespace {

using test::readFile;

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
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

TEST(LsofListenerProbe, FailsNamingAnLsofThatCannotStart) {
    EXPECT_THAT([] { LsofListenerProbe("/nonexistent/lsof").processes("127.0.0.1", 18082); },
                ThrowsMessage<std::system_error>(
                    HasSubstr("launching /nonexistent/lsof: No such file or directory")));
}

} // namespace
} // namespace velquor
