#pragma once

#include "core/config/ForwarderConfig.h"
#include "core/config/TargetEndpoint.h"
#include "core/forwarding/NetworkPortChecker.h"
#include "support/harness/ChildProcess.h"
#include "support/harness/SystemTool.h"
#include "tests/support/DiscoveryServer.h"
#include "tests/support/Files.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/ProcessInspection.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace velquor::test {

// How often part occurs in text (a log, a program's output), overlapping ones counted.
inline std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// One of our programs with its output in <program>.out in home; killed and reaped if the test
// leaves it.
inline std::unique_ptr<harness::ChildProcess> launch(const std::filesystem::path& home,
                                                     const std::filesystem::path& program) {
    // The test's own process too: tests read the settings and the log where the program writes.
    ::setenv("HOME", home.c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_STATE_HOME");
    // Only for the child, through env(1), which then becomes the program: the desktop
    // application's one-instance socket goes to the test's folder, where a qarvex the user runs
    // cannot answer for it, and it draws its window where no display exists.
    return std::make_unique<harness::ChildProcess>(
        harness::SystemTool::find("env"),
        std::vector<std::string>{"TMPDIR=" + home.string(), "XDG_RUNTIME_DIR=" + home.string(),
                                 "QT_QPA_PLATFORM=offscreen", program.string()},
        home / (program.filename().string() + ".out"));
}

// Our real programs in a home of the test's own, a discovery server and a plain listening
// socket as the target. Any user may run them; the tools missing skip the test.
class QarvexdTest : public ::testing::Test {
protected:
    void SetUp() override { requireTools({"socat", "lsof", "env"}); }

    // A failed test may leave forwarders behind; no test may leave a process.
    void TearDown() override {
        m_daemon.reset();
        for (const auto port : {m_listenPort, m_movedPort}) {
            for (const auto pid : socatsListeningOn(port)) {
                ::kill(pid, SIGKILL);
            }
        }
    }

    static void requireTools(std::initializer_list<const char*> tools) {
        for (const char* tool : tools) {
            try {
                harness::SystemTool::find(tool);
            } catch (const std::runtime_error& missing) {
                GTEST_SKIP() << missing.what();
            }
        }
    }

    // The defaults with this test's listen port and discovery, checks every 5 s, and the plain
    // socket cached as the target to fall back to, should discovery not answer.
    nlohmann::json config(bool autoStart) const {
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = m_listenPort;
        json["recentListenPorts"] = {m_listenPort};
        json["discoveryURL"] = m_discovery.url().text;
        json["checkIntervalSeconds"] = 5;
        json["autoStart"] = autoStart;
        json["target"] = TargetEndpoint("127.0.0.1", m_target.port()).toJson();
        return json;
    }

    void writeConfig(const nlohmann::json& json) const {
        std::filesystem::create_directories(m_configFile.parent_path());
        writeFile(m_configFile, json.dump(2));
    }

    void startDaemon(const std::filesystem::path& program = QARVEXD_PATH) {
        m_daemon = launch(m_home.path(), program);
    }

    // qarvexd copied into an installation of its own, where it takes the socat beside it: a
    // script that runs the shell command `before`, then the real socat.
    std::filesystem::path installWithSocat(const std::string& before) const {
        const auto bin = m_home / "install" / "bin";
        const auto libexec = m_home / "install" / "libexec" / "velquor";
        std::filesystem::create_directories(bin);
        std::filesystem::create_directories(libexec);
        std::filesystem::copy_file(QARVEXD_PATH, bin / "qarvexd");
        writeFile(libexec / "socat", "#!/bin/sh\n" + before + "\nexec " +
                                         harness::SystemTool::find("socat").string() + " \"$@\"\n");
        std::filesystem::permissions(libexec / "socat", std::filesystem::perms::owner_all);
        return bin / "qarvexd";
    }

    // SIGTERM, then waits for the exit; the exit status, or nothing if it did not end in time.
    std::optional<int> terminate(std::chrono::seconds deadline = std::chrono::seconds(60)) {
        m_daemon->signal(SIGTERM);
        return m_daemon->waitForExit(deadline);
    }

    std::string log() const { return readFile(m_logFile); }
    std::string output(const std::string& program = "qarvexd") const {
        return readFile(m_home / (program + ".out"));
    }

    // The default deadline covers the shortest interval and a start behind it on a loaded
    // machine.
    bool waitForLog(const std::string& text, std::size_t count = 1,
                    std::chrono::milliseconds deadline = std::chrono::seconds(60)) const {
        return waitUntil([&] { return occurrences(log(), text) >= count; }, deadline);
    }

    static bool isListening(std::int64_t port) {
        return NetworkPortChecker().isListening("127.0.0.1", port);
    }

    // Found in /proc, not through the code under test.
    static std::vector<std::int32_t> socatsListeningOn(std::int64_t port) {
        return socatsWith("TCP-LISTEN:" + std::to_string(port) + ",");
    }

    // Where no discovery server answers.
    static std::string unreachableUrl() {
        return "http://127.0.0.1:" + std::to_string(freeTcpPort()) + "/dynamic-port";
    }

    TemporaryDirectory m_home;
    std::filesystem::path m_configFile = m_home / ".config" / "Velquor" / "config.json";
    std::filesystem::path m_logFile = m_home / ".local" / "state" / "Velquor" / "service.log";
    std::int64_t m_listenPort = freeTcpPort();
    std::int64_t m_movedPort = freeTcpPort(); // for a test that moves the listen port
    LoopbackListener m_target;
    DiscoveryServer m_discovery;
    std::unique_ptr<harness::ChildProcess> m_daemon;
};

} // namespace velquor::test
