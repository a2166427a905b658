#include "core/logging/LogManager.h"

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace velquor {
namespace {

using test::readFile;
using test::writeFile;

namespace fs = std::filesystem;
using Clock = LogManager::Clock;
using namespace std::chrono_literals;

// Bytes this process has read through system calls so far.
long long bytesReadByProcess() {
    std::ifstream io("/proc/self/io");
    std::string key;
    long long value = 0;
    while (io >> key >> value) {
        if (key == "rchar:") {
            return value;
        }
    }
    return -1;
}

class LogManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* old = std::getenv("TZ");
        m_oldTz = old ? std::optional<std::string>(old) : std::nullopt;
        ::setenv("TZ", "Asia/Shanghai", 1);
        ::tzset();
    }
    void TearDown() override {
        if (m_oldTz) {
            ::setenv("TZ", m_oldTz->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

    // 2026-03-01 14:05:09 in Shanghai (UTC+8).
    static Clock::time_point march1() { return Clock::from_time_t(1772345109); }

    std::optional<std::string> m_oldTz;
    test::TemporaryDirectory m_dir;
    fs::path m_file = m_dir / "Logs" / "Velquor" / "service.log";
    LogManager m_log{m_file};
};

TEST_F(LogManagerTest, FirstAppendCreatesFolderAndOneStampedLineInLocalTime) {
    m_log.append("Configuration loaded", march1());
    EXPECT_EQ(readFile(m_file), "[2026-03-01 14:05:09] Configuration loaded\n");
    m_log.append("second\nwith continuation", march1() + 1s);
    EXPECT_EQ(readFile(m_file), "[2026-03-01 14:05:09] Configuration loaded\n"
                                "[2026-03-01 14:05:10] second\nwith continuation\n");
}

TEST_F(LogManagerTest, TimestampsParseOnlyInTheirExactForm) {
    EXPECT_EQ(LogManager::parseBracketTimestamp("[2026-03-01 14:05:09] x"), march1());
    EXPECT_EQ(LogManager::parseBracketTimestamp("[2026-03-01 14:05:09]"), march1());
    for (const char* line :
         {"", "[2026-03-01 14:05:09", "2026-03-01 14:05:09] x", "[2026-03-01T14:05:09] x",
          "[2026-02-30 14:05:09] x", "[2026-3-1 14:05:09]   x", "[２026-03-01 14:05:09] x"}) {
        EXPECT_FALSE(LogManager::parseBracketTimestamp(line).has_value()) << line;
    }
}

TEST_F(LogManagerTest, ReadRecentReturnsTheTailAndSurvivesACutCharacter) {
    EXPECT_EQ(m_log.readRecent(100), "") << "missing file";
    fs::create_directories(m_file.parent_path());
    std::string content(1000, 'a');
    content.replace(899, 3, "\xE6\x97\xA5"); // 日 straddles the cut at byte 900
    writeFile(m_file, content);
    const auto tail = m_log.readRecent(100);
    EXPECT_EQ(tail, "\xEF\xBF\xBD\xEF\xBF\xBD" + std::string(99 - 1, 'a'));
    EXPECT_EQ(m_log.readRecent(5000), content);
}

TEST_F(LogManagerTest, ReadRecentOfAHugeLogReadsOnlyItsTail) {
    fs::create_directories(m_file.parent_path());
    { std::ofstream(m_file) << ""; }
    fs::resize_file(m_file, 200LL * 1024 * 1024); // sparse: cheap to make, costly to read
    m_log.append("newest", march1());

    const auto before = bytesReadByProcess();
    const auto tail = m_log.readRecent(512 * 1024);
    const auto read = bytesReadByProcess() - before;

    EXPECT_TRUE(tail.ends_with("[2026-03-01 14:05:09] newest\n"));
    EXPECT_EQ(tail.size(), 512u * 1024);
    EXPECT_LT(read, 2 * 1024 * 1024) << "read " << read << " bytes for a 512 KiB tail";
}

TEST_F(LogManagerTest, ClearLeavesAnEmptyFileEvenWhenThereWasNone) {
    m_log.clear();
    EXPECT_TRUE(fs::exists(m_file));
    EXPECT_EQ(fs::file_size(m_file), 0u);
    m_log.append("x", march1());
    m_log.clear();
    EXPECT_EQ(fs::file_size(m_file), 0u);
}

TEST_F(LogManagerTest, PruneDropsOldStampedLinesAndKeepsTheRest) {
    const auto now = march1();
    m_log.append("thirty hours ago\ncontinued", now - 30h);
    m_log.append("ten hours ago", now - 10h);
    fs::path file = m_file;
    std::ofstream(file, std::ios::app) << "no stamp here\n";

    m_log.prune(-1, now);
    EXPECT_NE(readFile(m_file).find("thirty hours ago"), std::string::npos);

    m_log.prune(1, now);
    EXPECT_EQ(readFile(m_file), "continued\n"
                                "[2026-03-01 04:05:09] ten hours ago\n"
                                "no stamp here\n");

    m_log.prune(0, now);
    EXPECT_EQ(readFile(m_file), "continued\nno stamp here\n");
}

TEST_F(LogManagerTest, PruneCountsCalendarDaysAcrossADaylightSavingChange) {
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
    // 2026-03-29 12:00 in Berlin; a day earlier is 23 real hours back (clocks went forward).
    const auto now = Clock::from_time_t(1774778400);
    m_log.append("23.5 hours ago", now - 23h - 30min);
    m_log.append("22.5 hours ago", now - 22h - 30min);
    m_log.prune(1, now);
    const auto text = readFile(m_file);
    EXPECT_EQ(text.find("23.5 hours ago"), std::string::npos);
    EXPECT_NE(text.find("22.5 hours ago"), std::string::npos);
}

TEST_F(LogManagerTest, AFolderThatCannotBeCreatedFailsAppendAndClear) {
    writeFile(m_dir / "Logs", "a file where the folder should be");
    EXPECT_THROW(m_log.append("x", march1()), std::system_error);
    EXPECT_THROW(m_log.clear(), std::system_error);
    EXPECT_EQ(readFile(m_dir / "Logs"), "a file where the folder should be");
}

TEST_F(LogManagerTest, AReadOnlyLogFailsAppendAndKeepsItsContent) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root writes to read-only files";
    }
    m_log.append("kept", march1());
    fs::permissions(m_file, fs::perms::owner_read);
    EXPECT_THROW(m_log.append("lost", march1()), std::system_error);
    EXPECT_EQ(readFile(m_file), "[2026-03-01 14:05:09] kept\n");
}

// Something that is not a regular file at the log path: a FIFO nobody reads (a plain open would
// block the service for good), a directory, a device. Every operation refuses it at once.
TEST_F(LogManagerTest, ALogPathThatIsNoRegularFileIsRefusedWithoutBlocking) {
    const std::function<void(const fs::path&)> makers[] = {
        [](const fs::path& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); },
        [](const fs::path& path) { fs::create_directory(path); },
        [](const fs::path& path) { fs::create_symlink("/dev/null", path); },
    };
    fs::create_directories(m_file.parent_path());
    for (const auto& make : makers) {
        make(m_file);
        const auto kind = fs::status(m_file).type();
        EXPECT_THROW(m_log.append("x", march1()), std::system_error) << int(kind);
        EXPECT_THROW(m_log.readRecent(100), std::system_error) << int(kind);
        EXPECT_THROW(m_log.prune(1, march1()), std::system_error) << int(kind);
        fs::remove(m_file);
    }
}

} // namespace
} // namespace velquor
