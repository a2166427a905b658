#include "core/logging/LogManager.h"
#include "core/logging/LogPreviewFormatter.h"
#include "core/text/Utf8.h"
#include "tests/support/Files.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace velquor {
namespace {

using test::readFile;
using ::testing::HasSubstr;

namespace fs = std::filesystem;
using Clock = LogManager::Clock;
using namespace std::chrono_literals;

// Bytes this process has read through system calls so far: the first line of /proc/self/io.
long long bytesReadByProcess() {
    std::string key;
    long long value = -1;
    std::ifstream("/proc/self/io") >> key >> value;
    EXPECT_EQ(key, "rchar:");
    return value;
}

// Stamps are in the process's local time: pinned here, so they read the same on every machine.
class LogManagerTest : public ::testing::Test {
protected:
    void SetUp() override { useZone("Asia/Shanghai"); }
    void TearDown() override {
        m_environment.reset();
        ::tzset();
    }
    void useZone(const char* zone) {
        m_environment->set("TZ", zone);
        ::tzset();
    }

    // 2026-03-01 14:05:09 in Shanghai (UTC+8).
    static Clock::time_point march1() { return Clock::from_time_t(1772345109); }

    std::optional<test::ScopedEnvironment> m_environment{std::in_place};
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

// However long the log has grown, only the tail is read; a character cut at its start is replaced.
// Clearing leaves an empty file even where there was none.
TEST_F(LogManagerTest, ReadRecentReadsOnlyTheTailAndRepairsACutCharacterAfterAClear) {
    EXPECT_EQ(m_log.readRecent(100), "") << "missing file";
    m_log.clear();
    EXPECT_EQ(fs::file_size(m_file), 0u) << "clearing makes the file";
    m_log.append("first", march1());
    EXPECT_EQ(m_log.readRecent(5000), "[2026-03-01 14:05:09] first\n");
    fs::resize_file(m_file, 200LL * 1024 * 1024); // sparse: cheap to make, costly to read
    const std::string rest(512 * 1024 - 2, 'a');
    std::ofstream(m_file, std::ios::app) << "\xE6\x97\xA5" + rest; // 日 straddles the cut

    const auto before = bytesReadByProcess();
    const auto tail = m_log.readRecent(512 * 1024);
    const auto read = bytesReadByProcess() - before;
    EXPECT_TRUE(tail == "\xEF\xBF\xBD\xEF\xBF\xBD" + rest) << tail.substr(0, 10);
    EXPECT_LT(read, 2 * 1024 * 1024) << "read " << read << " bytes for a 512 KiB tail";
}

// Only an exact stamp dates a line: the others stay, however old they look; a stamp beyond the
// clock's range still sorts.
TEST_F(LogManagerTest, PruneDropsOldStampedLinesAndKeepsTheRest) {
    const auto now = march1();
    m_log.append("thirty hours ago \xFF\ncontinued", now - 30h); // bytes of any kind
    m_log.append("ten hours ago", now - 10h);
    const std::string staying = "no stamp here\n\n[2000-01-01 00:00:00\n2000-01-01 00:00:00] x\n"
                                "[2000-01-01T00:00:00] x\n[2000-02-30 00:00:00] x\n"
                                "[2000-1-1 00:00:00]   x\n[２000-01-01 00:00:00] x\n\xC0\xAF\n"
                                "[2999-01-01 00:00:00] beyond the clock's end\n";
    std::ofstream(m_file, std::ios::app) << "[1500-01-01 00:00:00] before its start\n" + staying;

    m_log.prune(-1, now);
    EXPECT_NE(readFile(m_file).find("thirty hours ago"), std::string::npos);
    m_log.prune(1, now);
    EXPECT_EQ(readFile(m_file), "continued\n[2026-03-01 04:05:09] ten hours ago\n" + staying);
    m_log.prune(0, now);
    EXPECT_EQ(readFile(m_file), "continued\n" + staying);
}

TEST_F(LogManagerTest, PruneCountsCalendarDaysAcrossADaylightSavingChange) {
    useZone("Europe/Berlin");
    // 2026-03-29 12:00 in Berlin; a day earlier is 23 real hours back (clocks went forward).
    const auto now = Clock::from_time_t(1774778400);
    m_log.append("23.5 hours ago", now - 23h - 30min);
    m_log.append("22.5 hours ago", now - 22h - 30min);
    m_log.prune(1, now);
    EXPECT_EQ(readFile(m_file), "[2026-03-28 12:30:00] 22.5 hours ago\n");
}

// Something that is not a plain file of its own at the log path: a FIFO nobody reads (a plain
// open would block the service for good), a directory, links that would lead even root to write,
// replace or show another file. Every operation refuses it at once and leaves it as it is.
TEST_F(LogManagerTest, ALogPathThatIsNoPlainFileIsRefusedAndLeftAsItIs) {
    const auto other = m_dir / "other", fifo = m_dir / "fifo";
    test::writeFile(other, "[2000-01-01 00:00:00] another file\n");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::pair<std::function<void(const fs::path&)>, std::string> rows[] = {
        {[](const fs::path& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }, "not a regular"},
        {[](const fs::path& path) { fs::create_directory(path); }, "Is a directory"},
        {[](const fs::path& path) { fs::create_symlink("/dev/null", path); }, "symbolic link"},
        {[&](const fs::path& path) { fs::create_symlink(other, path); }, "symbolic link"},
        {[&](const fs::path& path) { fs::create_symlink(m_dir / "absent", path); },
         "symbolic link"},
        {[&](const fs::path& path) { fs::create_symlink(fifo, path); }, "symbolic link"},
        {[&](const fs::path& path) { fs::create_hard_link(other, path); }, "hard link"},
    };
    fs::create_directories(m_file.parent_path());
    for (const auto& [make, why] : rows) {
        make(m_file);
        const auto kind = fs::symlink_status(m_file).type();
        try {
            m_log.append("x", march1());
            ADD_FAILURE() << "appended through " << int(kind);
        } catch (const std::system_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(m_file.string() + ": " + why));
        }
        EXPECT_THROW(m_log.readRecent(100), std::system_error) << int(kind);
        EXPECT_THROW(m_log.prune(1, march1()), std::system_error) << int(kind);
        EXPECT_THROW(m_log.clear(), std::system_error) << int(kind);
        EXPECT_EQ(fs::symlink_status(m_file).type(), kind);
        EXPECT_EQ(readFile(other), "[2000-01-01 00:00:00] another file\n") << int(kind);
        EXPECT_FALSE(fs::exists(m_dir / "absent")) << int(kind);
        fs::remove(m_file);
    }
}

// A log of any size is pruned in bounded memory, a line longer than any buffer included; measured
// in a child, whose peak resident size starts afresh at the fork.
TEST_F(LogManagerTest, PruneStreamsAHugeLogInBoundedMemory) {
    fs::create_directories(m_file.parent_path());
    test::writeFile(m_file, "[2026-02-27 14:05:09] dropped, with a 100 MB tail");
    fs::resize_file(m_file, (100LL << 20) - 10); // the next stamp straddles any buffer's end
    const std::string kept = "[2026-03-01 14:05:09] kept\n" + std::string(100'000, 'x') + "\n";
    std::ofstream(m_file, std::ios::app) << "\n" + kept;

    long residentKiB = 0;
    std::ifstream statusFile("/proc/self/status");
    for (std::string line; std::getline(statusFile, line);) {
        if (line.starts_with("VmRSS:")) {
            residentKiB = std::stol(line.substr(6));
        }
    }
    const pid_t child = ::fork();
    if (child == 0) {
        m_log.prune(1, march1());
        ::_exit(0);
    }
    int status = 0;
    struct rusage usage {};
    ASSERT_EQ(::wait4(child, &status, 0, &usage), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(m_file), kept);
    EXPECT_LT(usage.ru_maxrss - residentKiB, 32 * 1024) << "KiB more at the peak";
}

TEST(LogPreviewFormatter, ShowsNewestFirstSkipsEmptyLinesAndSaysWhenItIsCut) {
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n\nc\n", 500), "c\nb\na");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\n \nc", 500), "c\n \na");
    EXPECT_EQ(LogPreviewFormatter::displayText("", 500), "");
    EXPECT_EQ(LogPreviewFormatter::displayText("\n\n", 500), "");
    // A cut preview says so above its lines.
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n\nc\n", 2),
              "仅显示最近 2 行，完整日志请点击“打开目录”查看。\nc\nb");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n", 0),
              "仅显示最近 1 行，完整日志请点击“打开目录”查看。\nb");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n", 2), "b\na") << "exactly at the limit";
}

// Each maximal invalid subsequence becomes one U+FFFD: a character cut short is one, while a
// byte that cannot begin or continue one is one on its own.
TEST(Utf8, RefusesOverlongSurrogateTruncatedAndOutOfRangeSequencesAndRepairsEachOnce) {
    EXPECT_TRUE(isValidUtf8("ascii 日本 \xF0\x9F\x98\x80"));
    for (const std::string_view row :
         {"\xC0\xAF=\uFFFD\uFFFD", "\xE0\x80\xAF=\uFFFD\uFFFD\uFFFD",
          "\xED\xA0\x80=\uFFFD\uFFFD\uFFFD", "x\xE6\x97=x\uFFFD",
          "\xF4\x90\x80\x80=\uFFFD\uFFFD\uFFFD\uFFFD", "\xFF\x80=\uFFFD\uFFFD",
          "\xF0\x9F\x98x\xF0\x9F=\uFFFDx\uFFFD",
          "\xE6\x97\xE6\x97\xA5\xF1\x80\x80\xE6=\uFFFD日\uFFFD\uFFFD"}) { // bytes=repair
        const auto bytes = row.substr(0, row.find('='));
        EXPECT_FALSE(isValidUtf8(bytes)) << ::testing::PrintToString(bytes);
        EXPECT_EQ(repairUtf8(bytes), row.substr(bytes.size() + 1));
    }
}

} // namespace
} // namespace velquor
