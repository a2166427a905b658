#include "core/process/ProcessRunner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

namespace velquor {
namespace {

using std::chrono::seconds;
using ::testing::HasSubstr;

ProcessRunner::Result runShell(const std::string& script, std::size_t limit = 1024 * 1024) {
    return ProcessRunner("/bin/sh", {"-c", script}, seconds(5), limit).run();
}

TEST(ProcessRunner, ReportsOutputAndHowTheProgramEnded) {
    const auto printed = runShell("echo out; echo lost >&2; read line; echo \"[$line]\"; exit 3");
    EXPECT_EQ(printed.standardOutput, "out\n[]\n");
    EXPECT_EQ(printed.exitCode, 3);
    EXPECT_EQ(runShell("kill -TERM $$").exitCode, std::nullopt);

    // Output past the limit must still be drained, or the program would stall on the pipe.
    const auto flood = runShell("head -c 300000 /dev/zero | tr '\\0' x", 1000);
    EXPECT_EQ(flood.exitCode, 0);
    EXPECT_EQ(flood.standardOutput, std::string(1000, 'x'));
    EXPECT_TRUE(flood.outputTruncated);
}

TEST(ProcessRunner, TimesOutAProgramThatClosedItsOutputButLingers) {
    const auto start = std::chrono::steady_clock::now();
    try {
        ProcessRunner("/bin/sh", {"-c", "exec >&-; exec sleep 30"}, std::chrono::milliseconds(200))
            .run();
        FAIL() << "no timeout";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::timed_out);
        EXPECT_THAT(error.what(), HasSubstr("exec sleep 30 did not finish within 200 ms"));
    }
    // Well short of the sleep, with room for a loaded machine.
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(20));
}

} // namespace
} // namespace velquor
