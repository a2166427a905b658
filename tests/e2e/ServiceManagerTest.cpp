// qarvexd started by systemd as a Type=notify service with a watchdog, its standard error
// connected to the journal. No systemd runs: the test binds the notification socket itself and
// names the output file as the journal's stream, as systemd would.
#include "core/files/FileDescriptor.h"
#include "core/logging/LogManager.h"
#include "tests/e2e/WholeSystem.h"

#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

std::int64_t monotonicMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

// The datagram socket systemd listens on; keeps every message in the order it came.
class NotifySocket {
public:
    explicit NotifySocket(const std::filesystem::path& path)
        : m_path(path), m_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        if (::bind(m_fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot bind " + path.string());
        }
    }

    const std::vector<std::string>& messages() {
        char buffer[4096];
        for (ssize_t got; (got = ::recv(m_fd.get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0;) {
            m_messages.emplace_back(buffer, static_cast<std::size_t>(got));
        }
        return m_messages;
    }

    // The index of the first message from `from` on that starts with prefix.
    std::optional<std::size_t> find(const std::string& prefix, std::size_t from = 0) {
        for (std::size_t i = from; i < messages().size(); ++i) {
            if (m_messages[i].starts_with(prefix)) {
                return i;
            }
        }
        return std::nullopt;
    }

    std::optional<std::size_t> waitFor(const std::string& prefix, std::size_t from = 0) {
        waitUntil([&] { return find(prefix, from).has_value(); }, 60s);
        return find(prefix, from);
    }

    std::size_t count(const std::string& message) {
        return static_cast<std::size_t>(std::ranges::count(messages(), message));
    }

    std::string all() {
        std::string text;
        for (const auto& message : messages()) {
            text += "[" + message + "] ";
        }
        return text;
    }

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
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
    std::filesystem::path outputFile() const { return m_home / "qarvexd.out"; }

    // WATCHDOG_PID must be qarvexd's own identifier: the shell's, which exec keeps.
    void startUnderManager(const std::vector<std::string>& environment) {
        ::setenv("HOME", m_home.path().c_str(), 1);
        std::vector<std::string> arguments{"-c", "export WATCHDOG_PID=$$; exec env \"$@\"", "sh",
                                           "TMPDIR=" + m_home.path().string(),
                                           "XDG_RUNTIME_DIR=" + m_home.path().string()};
        arguments.insert(arguments.end(), environment.begin(), environment.end());
        arguments.push_back(QARVEXD_PATH);
        m_daemon = std::make_unique<harness::ChildProcess>(harness::SystemTool::find("sh"),
                                                           arguments, outputFile());
    }

    // Every stamped line of the log, on standard error with the priority of its kind and
    // without the stamp.
    void expectLogInJournalForm() const {
        const auto journal = output();
        std::istringstream lines(log());
        std::set<std::string> priorities;
        for (std::string line; std::getline(lines, line);) {
            if (!LogManager::parseBracketTimestamp(line)) {
                continue; // a message's second line
            }
            const auto message = line.substr(22);
            const auto priority = message.starts_with("ERROR: ")     ? "<3>"
                                  : message.starts_with("WARNING: ") ? "<4>"
                                                                     : "<6>";
            priorities.insert(priority);
            EXPECT_NE(journal.find(priority + message + "\n"), std::string::npos) << line;
        }
        EXPECT_EQ(priorities.size(), 3u) << log();
        EXPECT_FALSE(journal.starts_with("[") || journal.find("\n[") != std::string::npos)
            << journal;
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
    writeFile(outputFile(), ""); // the program's standard error keeps this inode
    startUnderManager({"NOTIFY_SOCKET=" + manager.path().string(), "WATCHDOG_USEC=1000000",
                       "JOURNAL_STREAM=" + streamOf(outputFile())});

    const auto ready = manager.waitFor("READY=1");
    ASSERT_TRUE(ready) << manager.all() << output();
    const auto failed = manager.find("STATUS=Failed: ");
    ASSERT_TRUE(failed && *failed < *ready) << manager.all();
    EXPECT_TRUE(manager.messages()[*failed].ends_with("; retrying in 5 s")) << manager.all();

    json["discoveryURL"] = m_discovery.url().text;
    writeConfig(json);
    const auto hangUp = monotonicMicroseconds();
    m_daemon->signal(SIGHUP);
    const auto reloading = manager.waitFor("RELOADING=1\nMONOTONIC_USEC=");
    ASSERT_TRUE(reloading) << manager.all();
    const auto stamp = std::stoll(manager.messages()[*reloading].substr(27));
    EXPECT_TRUE(stamp >= hangUp && stamp <= monotonicMicroseconds()) << stamp << " " << hangUp;
    EXPECT_TRUE(manager.waitFor("READY=1", *reloading)) << manager.all();
    const std::string forwarding = "STATUS=Forwarding 127.0.0.1:" + std::to_string(m_listenPort) +
                                   " -> 127.0.0.1:" + std::to_string(m_target.port());
    EXPECT_TRUE(manager.waitFor(forwarding)) << manager.all() << log();

    writeFile(m_configFile, "{");
    m_daemon->signal(SIGHUP);
    ASSERT_TRUE(waitForLog("could not be used on reload")) << log();

    ASSERT_TRUE(waitUntil([&] { return manager.count("WATCHDOG=1") >= 8; }, 60s)) << manager.all();
    // Never more often than every half second since the launch.
    EXPECT_LE(manager.count("WATCHDOG=1"), (SteadyClock::now() - launched) / 500ms + 1);

    const auto beforeStop = manager.messages().size();
    EXPECT_EQ(terminate(), 0);
    EXPECT_TRUE(manager.find("STOPPING=1", beforeStop)) << manager.all();
    expectLogInJournalForm();
}

// Elsewhere than the journal the lines read as in the log file; a stream systemd named once
// is not the journal when standard error was since put somewhere else.
TEST_F(ServiceManagerTest, OutsideTheJournalLinesCarryTheirTimeStamp) {
    writeConfig(config(false));
    for (const std::string& stream : {std::string(), "JOURNAL_STREAM=" + streamOf(m_configFile)}) {
        startUnderManager(stream.empty() ? std::vector<std::string>{}
                                         : std::vector<std::string>{stream});
        ASSERT_TRUE(waitUntil([&] {
            return output().find("] Configuration loaded") != std::string::npos;
        })) << output();
        const auto at = output().find("] Configuration loaded");
        EXPECT_TRUE(at >= 20 && LogManager::parseBracketTimestamp(output().substr(at - 20)))
            << output();
        EXPECT_EQ(output().find("<6>"), std::string::npos) << stream;
        EXPECT_EQ(terminate(), 0);
    }
}

} // namespace
} // namespace velquor::test
