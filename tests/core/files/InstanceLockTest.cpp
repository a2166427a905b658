#include "core/files/InstanceLock.h"

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

class InstanceLockTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    std::filesystem::path m_path = m_dir / "run" / "forwarder.lock";
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
        ASSERT_EQ(::truncate(m_path.c_str(), 0), 0);
        FILE* file = std::fopen(m_path.c_str(), "w");
        std::fputs(text.c_str(), file);
        std::fclose(file);
        EXPECT_EQ(InstanceLock(m_path, "qarvex").holder(), std::nullopt) << text;
    }
}

// Neither may block the start: a FIFO without a reader would hang a plain open.
TEST_F(InstanceLockTest, APathThatIsNoRegularFileIsRefused) {
    std::filesystem::create_directories(m_path.parent_path());
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_THROW(InstanceLock(m_path, "qarvexd"), std::system_error);
    std::filesystem::remove(m_path);
    std::filesystem::create_directory(m_path);
    EXPECT_THROW(InstanceLock(m_path, "qarvexd"), std::system_error);
}

} // namespace
} // namespace velquor
