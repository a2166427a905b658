// qarvexd started by systemd as a Type=notify service with a watchdog, its standard error
// connected to the journal. No systemd runs: the test binds the notification socket itself and
// names the output file as the journal's stream, as systemd would.
#include "core/files/FileDescriptor.h"
#include "core/logging/LogManager.h"
#include "tests/e2e/WholeSystem.h"

#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock; // CLOCK_MONOTONIC, systemd's clock

// The datagram socket systemd listens on; keeps every message in the order it came.
class NotifySocket {
public:
    explicit NotifySocket(const std::filesystem::path& path)
        : m_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(m_fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    const std::vector<std::string>& messages() {
        char buffer[4096];
        for (ssize_t got; (got = ::recv(m_fd.get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0;) {
            m_messages.emplace_back(buffer, static_cast<std::size_t>(got));
        }
        return m_messages;
    }

    // The index of the first message from `from` on that starts with prefix, once one came.
    std::optional<std::size_t> waitFor(const std::string& prefix, std::size_t from = 0) {
        const auto found = [&] {
            while (from < messages().size() && !m_messages[from].starts_with(prefix)) {
                ++from;
            }
            return from < m_messages.size();
        };
        return waitUntil(found, 60s) ? std::optional(from) : std::nullopt;
    }

private:
    FileDescriptor m_fd;
    std::vector<std::string> m_messages;
};

// "<device>:<inode>", as systemd sets JOURNAL_STREAM.
std::string streamOf(const std::filesystem::path& file) {
    struct stat info {};
    ::stat(file.c_str(), &info);
    return std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
}

class ServiceManagerTest : public QarvexdTest {
protected:
    // WATCHDOG_PID must be qarvexd's own identifier: the shell's, which exec keeps.
    void startUnderManager(std::vector<std::string> arguments) {
        ::setenv("HOME", m_home.path().c_str(), 1);
        arguments.insert(arguments.begin(), {"-c", "export WATCHDOG_PID=$$; exec env \"$@\"", "sh",
                                             "XDG_RUNTIME_DIR=" + m_home.path().string()});
        arguments.push_back(QARVEXD_PATH);
        m_daemon = std::make_unique<harness::ChildProcess>(harness::SystemTool::find("sh"),
                                                           arguments, m_home / "qarvexd.out");
    }

    // Every stamped line of the log is on standard error with the priority of its kind and
    // without the stamp.
    void expectLogInJournalForm() const {
        std::istringstream lines(log());
        for (std::string line; std::getline(lines, line);) {
            const auto message = line.substr(std::min<std::size_t>(line.size(), 22));
            const auto priority = message.starts_with("ERROR: ")     ? "<3>"
                                  : message.starts_with("WARNING: ") ? "<4>"
                                                                     : "<6>";
            EXPECT_NE(output().find(priority + message + "\n"), std::string::npos) << line;
        }
        EXPECT_FALSE(output().starts_with("[") || output().find("\n[") != std::string::npos);
    }
};

// The start fails at first (discovery unreachable, nothing cached), a reload lets the retry
// succeed, a second reload finds the file damaged; the watchdog is pinged at half its timeout
// through all of it, by a loop that would otherwise sleep for the hour between checks.
TEST_F(ServiceManagerTest, TellsReadinessStatusReloadsStopAndPingsTheWatchdogAndLogsToJournal) {
    m_discovery.setReply(DiscoveryServer::redirectTo("127.0.0.1", m_target.port()));
    auto json = config(true);
    json["discoveryURL"] = unreachableUrl();
    json.erase("target");
    json["checkIntervalSeconds"] = 3600;
    writeConfig(json);
    NotifySocket manager(m_home / "notify");
    const auto launched = SteadyClock::now();
    writeFile(m_home / "qarvexd.out", ""); // the program's standard error keeps this inode
    startUnderManager({"NOTIFY_SOCKET=" + (m_home / "notify").string(), "WATCHDOG_USEC=1000000",
                       "JOURNAL_STREAM=" + streamOf(m_home / "qarvexd.out")});
    const auto all = [&] { return ::testing::PrintToString(manager.messages()); };

    const auto ready = manager.waitFor("READY=1");
    ASSERT_TRUE(ready) << all() << output();
    const auto failed = manager.waitFor("STATUS=Failed: ");
    ASSERT_TRUE(failed && *failed < *ready &&
                manager.messages()[*failed].ends_with("retrying in 5 s"));

    json["discoveryURL"] = m_discovery.url().text;
    writeConfig(json);
    const auto hangUp = SteadyClock::now().time_since_epoch() / 1us;
    m_daemon->signal(SIGHUP);
    const auto reloading = manager.waitFor("RELOADING=1\nMONOTONIC_USEC=");
    ASSERT_TRUE(reloading) << all();
    const auto stamp = std::stoll(manager.messages()[*reloading].substr(27));
    EXPECT_TRUE(stamp >= hangUp && stamp <= SteadyClock::now().time_since_epoch() / 1us);
    EXPECT_TRUE(manager.waitFor("READY=1", *reloading)) << all();
    EXPECT_TRUE(manager.waitFor("STATUS=Forwarding 127.0.0.1:" + std::to_string(m_listenPort) +
                                " -> 127.0.0.1:" + std::to_string(m_target.port())))
        << all() << log();

    writeFile(m_configFile, "{");
    m_daemon->signal(SIGHUP);
    ASSERT_TRUE(waitForLog("could not be used on reload")) << log();

    const auto pings = [&] { return std::ranges::count(manager.messages(), "WATCHDOG=1"); };
    ASSERT_TRUE(waitUntil([&] { return pings() >= 8; }, 60s)) << all();
    // Never more often than every half second since the launch.
    EXPECT_LE(pings(), (SteadyClock::now() - launched) / 500ms + 1);

    const auto beforeStop = manager.messages().size();
    EXPECT_EQ(terminate(), 0);
    EXPECT_TRUE(manager.waitFor("STOPPING=1", beforeStop)) << all();
    expectLogInJournalForm();
}

// A stream systemd named once is not the journal when standard error was since put elsewhere:
// the lines read as in the log file.
TEST_F(ServiceManagerTest, OutsideTheJournalLinesCarryTheirTimeStamp) {
    writeConfig(config(false));
    startUnderManager({"JOURNAL_STREAM=" + streamOf(m_configFile)});
    ASSERT_TRUE(waitUntil([&] { return output().find("loaded") != std::string::npos; }));
    EXPECT_TRUE(LogManager::parseBracketTimestamp(output())) << output();
}

} // namespace
} // namespace velquor::test
