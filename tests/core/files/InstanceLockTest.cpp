#include "core/files/InstanceLock.h"

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace velquor {
namespace {

namespace fs = std::filesystem;

class InstanceLockTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_path = m_dir / "run" / "forwarder.lock";
};

TEST_F(InstanceLockTest, ASecondTakerIsRefusedAndNamesTheHolderUntilItLetsGo) {
    {
        const InstanceLock first(m_path, "qarvexd");
        ASSERT_TRUE(first.isHeld());
        const InstanceLock second(m_path, "qarvex");
        EXPECT_FALSE(second.isHeld());
        ASSERT_TRUE(second.holder());
        EXPECT_EQ(second.holder()->text(), "qarvexd (PID " + std::to_string(::getpid()) + ")");
    }
    EXPECT_TRUE(InstanceLock(m_path, "qarvex").isHeld());
}

// A child started while the lock was held (here without our spawner, which would close the
// descriptor anyway) must not keep it once the holder is gone.
TEST_F(InstanceLockTest, AChildThatOutlivesTheHolderDoesNotKeepTheLock) {
    pid_t child = -1;
    {
        const InstanceLock holder(m_path, "qarvexd");
        ASSERT_TRUE(holder.isHeld());
        char* const arguments[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
        ASSERT_EQ(::posix_spawn(&child, "/bin/sleep", nullptr, nullptr, arguments, environ), 0);
    }
    const InstanceLock next(m_path, "qarvexd");
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(next.isHeld());
}

TEST_F(InstanceLockTest, AHolderTextThatIsNotOursNamesNobody) {
    for (const std::string text : {"", "12 \n", "x qarvexd\n", "12 a;rm -rf\n", "-4 qarvexd\n"}) {
        const InstanceLock holder(m_path, "qarvexd");
        test::writeFile(m_path, text);
        EXPECT_EQ(InstanceLock(m_path, "qarvex").holder(), std::nullopt) << text;
    }
}

// Neither may block the start: a FIFO without a reader would hang a plain open.
TEST_F(InstanceLockTest, APathThatIsNoRegularFileIsRefused) {
    fs::create_directories(m_path.parent_path());
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_THROW(InstanceLock(m_path, "qarvexd"), std::system_error);
    fs::remove(m_path);
    fs::create_directory(m_path);
    EXPECT_THROW(InstanceLock(m_path, "qarvexd"), std::system_error);
}

} // namespace
} // namespace velquor
