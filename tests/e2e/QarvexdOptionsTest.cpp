// qarvexd's command line: the two options it knows, and a usage error for anything else.
#include "core/BuildInfo.h"
#include "core/process/ProcessRunner.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;

struct Outcome {
    std::optional<int> exitCode;
    std::string standardOutput;
    std::string standardError;
};

// In a home of its own, so that a qarvexd that took an option for a start runs nowhere near the
// user's settings; the runner's deadline ends it then.
Outcome runQarvexd(const std::vector<std::string>& arguments) {
    const TemporaryDirectory home;
    // The runner keeps standard output only: the second run swaps the two.
    const auto run = [&](const std::string& redirect) {
        std::vector<std::string> all = {
            "-c", "HOME=\"$0\" exec '" + std::string(QARVEXD_PATH) + "' \"$@\"" + redirect,
            home.path().string()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return ProcessRunner("/bin/sh", all, 60s).run();
    };
    const auto out = run("");
    return {out.exitCode, out.standardOutput, run(" 2>&1 >/dev/null").standardOutput};
}

struct OptionCase {
    std::vector<std::string> arguments;
    int exitCode;
    std::string standardOutput; // what it must hold; on a usage error, standard error must
};

TEST(QarvexdOptions, HelpAndVersionAnswerOnStandardOutputAnythingElseIsAUsageError) {
    const std::string version = std::string("qarvexd ") + buildinfo::version + "\n";
    const OptionCase cases[] = {
        {{"--help"}, 0, "Usage: qarvexd"},
        {{"--version"}, 0, version},
        {{"--verbose"}, 2, "--verbose"},
        {{"-h"}, 2, "-h"},
        {{""}, 2, "Usage: qarvexd"},
        {{"--help", "extra"}, 2, "Usage: qarvexd"},
        {{"--version", "--help"}, 2, "Usage: qarvexd"},
    };
    for (const auto& c : cases) {
        const auto outcome = runQarvexd(c.arguments);
        SCOPED_TRACE(::testing::PrintToString(c.arguments));
        EXPECT_EQ(outcome.exitCode, c.exitCode);
        if (c.exitCode == 0) {
            EXPECT_NE(outcome.standardOutput.find(c.standardOutput), std::string::npos)
                << outcome.standardOutput;
            EXPECT_EQ(outcome.standardError, "");
        } else {
            EXPECT_EQ(outcome.standardOutput, "");
            EXPECT_NE(outcome.standardError.find(c.standardOutput), std::string::npos);
            EXPECT_NE(outcome.standardError.find("Usage: qarvexd"), std::string::npos)
                << outcome.standardError;
        }
    }
    EXPECT_EQ(runQarvexd({"--version"}).standardOutput, version) << "the version line alone";
}

} // namespace
} // namespace velquor::test
