#include "core/login/LaunchAgentManager.h"

#include "tests/support/Files.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace velquor {
namespace {

using test::readFile;
using test::writeFile;

namespace fs = std::filesystem;

bool hasLine(const std::string& text, const std::string& line) {
    return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

class LaunchAgentManagerTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_program = "/opt/Qarvex/bin/qarvex";
    int m_providerCalls = 0;

    LaunchAgentManager makeManager(const fs::path& folder) {
        return LaunchAgentManager(folder, std::string(LaunchAgentManager::defaultLabel), [this] {
            ++m_providerCalls;
            return m_program;
        });
    }

    static std::ptrdiff_t entriesIn(const fs::path& folder) {
        return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    }
};

// The file is named after the label; nothing is touched or asked for until enabling.
TEST_F(LaunchAgentManagerTest, EachInstallWritesThatCallsProgramAndUninstallRemovesIt) {
    auto manager = makeManager(m_dir / "home" / ".config" / "autostart");
    EXPECT_EQ(manager.plistURL().filename(),
              "com.dravenloe.velquor" + std::string(LaunchAgentManager::fileSuffix));
    EXPECT_FALSE(manager.isEnabled() || fs::exists(m_dir / "home") || m_providerCalls > 0);
    manager.setEnabled(true);
    EXPECT_TRUE(manager.isEnabled());
    EXPECT_NE(readFile(manager.plistURL()).find(m_program), std::string::npos);
    m_program = "/home/me/Applications/qarvex";
    manager.install();
    EXPECT_NE(readFile(manager.plistURL()).find(m_program), std::string::npos);
    EXPECT_EQ(m_providerCalls, 2);
    EXPECT_EQ(entriesIn(manager.plistURL().parent_path()), 1) << "a temporary file was left";

    manager.setEnabled(false);
    EXPECT_FALSE(manager.isEnabled());
    EXPECT_NO_THROW(manager.uninstall()) << "nothing to remove is success";
    EXPECT_EQ(entriesIn(manager.plistURL().parent_path()), 0);
}

// A link that leads nowhere holds nothing: enabling replaces it instead of writing through.
TEST_F(LaunchAgentManagerTest, AFileAtTheNameCountsAsEnabledAlsoThroughALinkButADanglingLinkNot) {
    auto manager = makeManager(m_dir.path());
    writeFile(m_dir / "by hand", "written by hand\n");
    fs::create_symlink(m_dir / "by hand", manager.plistURL());
    EXPECT_TRUE(manager.isEnabled());
    manager.uninstall();
    EXPECT_EQ(readFile(m_dir / "by hand"), "written by hand\n");

    fs::create_symlink(m_dir / "gone", manager.plistURL());
    EXPECT_FALSE(manager.isEnabled());
    manager.setEnabled(false);
    EXPECT_TRUE(fs::is_symlink(manager.plistURL())) << "nothing to remove";
    manager.setEnabled(true);
    EXPECT_TRUE(manager.isEnabled() && !fs::is_symlink(manager.plistURL()) &&
                !fs::exists(m_dir / "gone"));
}

TEST_F(LaunchAgentManagerTest, FailedInstallsThrowAndLeaveTheEarlierStateAsItWas) {
    writeFile(m_dir / "blocker", "a file where the folder should be");
    EXPECT_THROW(makeManager(m_dir / "blocker" / "autostart").install(), std::system_error);
    EXPECT_EQ(readFile(m_dir / "blocker"), "a file where the folder should be");

    auto manager = makeManager(m_dir / "autostart");
    manager.install();
    const auto before = readFile(manager.plistURL());
    m_program.clear(); // the program could not be found
    EXPECT_THROW(manager.install(), std::system_error);
    m_program = "/somewhere/else/qarvex";
    fs::permissions(m_dir / "autostart", fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) { // root writes anyway
        EXPECT_THROW(manager.install(), std::system_error);
        EXPECT_THROW(manager.uninstall(), std::system_error);
    }
    fs::permissions(m_dir / "autostart", fs::perms::owner_all);
    EXPECT_EQ(readFile(manager.plistURL()), before);
    EXPECT_EQ(entriesIn(m_dir / "autostart"), 1) << "a temporary file was left behind";
}

TEST(LaunchAgentManagerText, DesktopEntryStartsTheProgramQuotedAsLaunchersUnquoteIt) {
    const auto text = LaunchAgentManager::desktopEntryText("/usr/local/bin/qarvex");
    EXPECT_TRUE(text.starts_with("[Desktop Entry]\n")) << text;
    for (const char* line :
         {"Type=Application", "Hidden=false", "X-GNOME-Autostart-enabled=true"}) {
        EXPECT_TRUE(hasLine(text, line)) << line << " in\n" << text;
    }
    // Quoting escapes $ and \ once, then the string value doubles every backslash again.
    const std::pair<std::string, std::string> execs[] = {
        {"/home/me/My Apps/qarvex", "\"/home/me/My Apps/qarvex\""},
        {"/opt/$HOME\\x/100%/qarvex", R"("/opt/\\$HOME\\\\x/100%%/qarvex")"},
        {"/opt/100%/qarvex", "/opt/100%%/qarvex"}, // % alone needs no quotes
        {"/opt/a\"b`c/qarvex", R"("/opt/a\\"b\\`c/qarvex")"},
        {"/opt/it's~#;|&<>*?()/qarvex", "\"/opt/it's~#;|&<>*?()/qarvex\""},
        {"/opt/tab\there\nnext/qarvex", R"("/opt/tab\there\nnext/qarvex")"},
        {"/opt/a=b/qarvex", "/opt/a=b/qarvex"},
    };
    for (const auto& [program, exec] : execs) {
        const auto entry = LaunchAgentManager::desktopEntryText(program);
        EXPECT_TRUE(hasLine(entry, "Exec=" + exec)) << program << ":\n" << entry;
    }
}

TEST(LaunchAgentManagerText, PlistNamesTheLabelAndOpensTheProgramAtLoadWithEscapedStrings) {
    const auto text =
        LaunchAgentManager::launchAgentPlistText("a&b", "/Applications/Q & A <b>.app");
    for (const char* entry :
         {"<key>Label</key>\n\t<string>a&amp;b</string>\n", "<key>RunAtLoad</key>\n\t<true/>\n",
          "<string>/usr/bin/open</string>\n\t\t<string>-a</string>\n"
          "\t\t<string>/Applications/Q &amp; A &lt;b&gt;.app</string>\n"}) {
        EXPECT_NE(text.find(entry), std::string::npos) << entry << " in\n" << text;
    }
}

TEST(LaunchAgentManagerDefaults, FolderFollowsXdgConfigHomeOnlyWhenAbsolute) {
    test::ScopedEnvironment environment;
    environment.set("HOME", "/home/someone");
#ifdef __APPLE__
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/home/someone/Library/LaunchAgents"));
#else
    environment.set("XDG_CONFIG_HOME", "/xdg/config");
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/xdg/config/autostart"));
    environment.set("XDG_CONFIG_HOME", "relative/config");
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/home/someone/.config/autostart"));
#endif
    EXPECT_EQ(LaunchAgentManager::runningProgram().filename(), "velquor_core_tests");
}

} // namespace
} // namespace velquor
