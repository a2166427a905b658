// qarvexd's command line: the two options it knows, and a usage error for anything else.
#include "core/BuildInfo.h"
#include "core/process/ProcessRunner.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;

TEST(QarvexdOptions, HelpAndVersionAnswerOnStandardOutputAnythingElseIsAUsageError) {
    const auto usageError = [](const std::string& part) {
        return AllOf(HasSubstr(part), HasSubstr("Usage: qarvexd"));
    };
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        // Standard output on success, standard error otherwise; the other one stays empty.
        ::testing::Matcher<std::string> answer;
    } cases[] = {
        {{"--help"}, 0, HasSubstr("Usage: qarvexd")},
        {{"--version"}, 0, std::string("qarvexd ") + buildinfo::version + "\n"},
        {{"--verbose"}, 2, usageError("--verbose")},
        {{"-h"}, 2, usageError("-h")},
        {{""}, 2, usageError("")},
        {{"--help", "extra"}, 2, usageError("")},
        {{"--version", "--help"}, 2, usageError("")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.arguments));
        // A qarvexd that took an option for a start runs in a home of its own until the runner's
        // deadline. The runner keeps standard output only, so standard error goes to a file.
        const TemporaryDirectory home;
        std::vector<std::string> all = {
            "-c", "HOME=\"$0\" exec '" + std::string(QARVEXD_PATH) + "' \"$@\" 2>\"$0/err\"",
            home.path().string()};
        all.insert(all.end(), c.arguments.begin(), c.arguments.end());
        const auto out = ProcessRunner("/bin/sh", all, 60s).run();
        const auto err = readFile(home / "err");
        EXPECT_EQ(out.exitCode, c.exitCode);
        EXPECT_THAT(c.exitCode == 0 ? out.standardOutput : err, c.answer);
        EXPECT_EQ(c.exitCode == 0 ? err : out.standardOutput, "");
    }
}

} // namespace
} // namespace velquor::test
