#include "core/process/ProcessRunner.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using std::chrono::seconds;

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

} // namespace
} // namespace velquor
