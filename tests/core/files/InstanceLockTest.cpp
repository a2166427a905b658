#include "core/files/InstanceLock.h"

#include "core/config/ForwarderConfig.h"
#include "tests/support/Files.h"
#include "tests/support/Network.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace velquor {
namespace {

namespace fs = std::filesystem;

class LockFileTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_path = m_dir / "run" / "forwarder.lock";
};

TEST_F(LockFileTest, ASecondTakerIsRefusedAndNamesTheHolderUntilItLetsGo) {
    {
        const LockFile first(m_path, "qarvexd");
        ASSERT_TRUE(first.isHeld());
        const LockFile second(m_path, "qarvex");
        EXPECT_FALSE(second.isHeld());
        ASSERT_TRUE(second.holder());
        EXPECT_EQ(second.holder()->text(), "qarvexd (PID " + std::to_string(::getpid()) + ")");
    }
    EXPECT_TRUE(LockFile(m_path, "qarvex").isHeld());
}

// A child started while the lock was held (here without our spawner, which would close the
// descriptor anyway) must not keep it once the holder is gone.
TEST_F(LockFileTest, AChildThatOutlivesTheHolderDoesNotKeepTheLock) {
    pid_t child = -1;
    {
        const LockFile holder(m_path, "qarvexd");
        ASSERT_TRUE(holder.isHeld());
        char* const arguments[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
        ASSERT_EQ(::posix_spawn(&child, "/bin/sleep", nullptr, nullptr, arguments, environ), 0);
    }
    const LockFile next(m_path, "qarvexd");
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(next.isHeld());
}

TEST_F(LockFileTest, AHolderTextThatIsNotOursNamesNobody) {
    for (const std::string text : {"", "12 \n", "x qarvexd\n", "12 a;rm -rf\n", "-4 qarvexd\n"}) {
        const LockFile holder(m_path, "qarvexd");
        test::writeFile(m_path, text);
        EXPECT_EQ(LockFile(m_path, "qarvex").holder(), std::nullopt) << text;
    }
}

// Neither may block the start: a FIFO without a reader would hang a plain open.
TEST_F(LockFileTest, APathThatIsNoRegularFileIsRefused) {
    fs::create_directories(m_path.parent_path());
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_THROW(LockFile(m_path, "qarvexd"), std::system_error);
    fs::remove(m_path);
    fs::create_directory(m_path);
    EXPECT_THROW(LockFile(m_path, "qarvexd"), std::system_error);
}

// The first program runs on the files in "a" and a port; each second one shares one of them,
// reached under other names, or nothing.
TEST(InstanceLock, ASecondProgramSharingAFileOrThePortIsRefusedAndNamesTheFirst) {
    const test::TemporaryDirectory dir;
    const auto port = test::freeTcpPort();
    const auto configIn = [&](const std::string& folder, std::int64_t listenPort) {
        auto json = ForwarderConfig::defaults().toJson();
        json["listenPort"] = listenPort;
        fs::create_directories(dir / folder);
        test::writeFile(dir / folder / "config.json", json.dump());
        return dir / folder / "config.json";
    };
    const auto config = configIn("a", port);
    const auto log = dir / "a-log" / "service.log";
    const InstanceLock first(config, log, "qarvexd");
    ASSERT_TRUE(first.isHeld());
    fs::create_directories(dir / "b");
    fs::create_symlink(config, dir / "b" / "config.json");
    const auto self = " (PID " + std::to_string(::getpid()) + ")";
    auto comm = test::readFile("/proc/self/comm");
    comm.pop_back();
    const auto elsewhere = test::freeTcpPort();
    const std::tuple<fs::path, fs::path, std::optional<std::string>> cases[] = {
        {config, log, "qarvexd" + self},
        {dir / "b" / "config.json", dir / "b-log" / "service.log", "qarvexd" + self},
        {configIn("c", elsewhere), log, "qarvexd" + self},
        {configIn("d", port), dir / "d-log" / "service.log", comm + self},
        {configIn("e", elsewhere), dir / "e-log" / "service.log", std::nullopt},
    };
    for (const auto& [otherConfig, otherLog, holder] : cases) {
        SCOPED_TRACE(otherConfig);
        const InstanceLock second(otherConfig, otherLog, "qarvex");
        EXPECT_EQ(second.isHeld(), !holder);
        EXPECT_EQ(second.holder() ? second.holder()->text() : std::optional<std::string>(), holder);
    }
}

} // namespace
} // namespace velquor
