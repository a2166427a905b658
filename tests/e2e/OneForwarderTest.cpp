// Two qarvexd that would share the configuration, the log or the listen port: the second is
// refused, however its environment differs. Runs the real qarvexd without root.
#include "tests/e2e/WholeSystem.h"

#include <gmock/gmock.h>

namespace velquor::test {
namespace {

using namespace std::chrono_literals;

TEST_F(QarvexdTest, ASecondQarvexdOnTheSameFilesOrPortIsRefusedWhateverItsRuntimeFolder) {
    writeConfig(config(false));
    startDaemon();
    ASSERT_TRUE(waitForLog("Configuration loaded")) << log();
    // Other folders whose settings name the same port.
    const auto other = m_home / "other";
    std::filesystem::create_directories(other / "config" / "Velquor");
    writeFile(other / "config" / "Velquor" / "config.json", config(false).dump());
    const std::string runtime = "XDG_RUNTIME_DIR=" + (other / "run").string();
    const std::vector<std::string> environments[] = {
        {runtime},
        {runtime, "XDG_CONFIG_HOME=" + (other / "config").string(),
         "XDG_STATE_HOME=" + (other / "state").string()},
    };
    for (auto arguments : environments) {
        SCOPED_TRACE(arguments.size());
        std::filesystem::create_directories(other / "run");
        arguments.push_back(QARVEXD_PATH);
        harness::ChildProcess second(harness::SystemTool::find("env"), arguments,
                                     m_home / "second.out");
        EXPECT_EQ(second.waitForExit(30s), 1);
        EXPECT_EQ(readFile(m_home / "second.out"),
                  "qarvexd: not starting: Qarvex already forwards for this user in qarvexd (PID " +
                      std::to_string(m_daemon->pid()) +
                      "); run only one of qarvexd and qarvex per user\n");
    }
    EXPECT_EQ(occurrences(log(), "Configuration loaded"), 1u) << "the refused ones loaded nothing";
    EXPECT_EQ(terminate(), 0);
}

} // namespace
} // namespace velquor::test
