#include "core/login/LaunchAgentManager.h"

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace velquor {
namespace {

using test::readFile;
using test::writeFile;

namespace fs = std::filesystem;

std::string desktopEntryWithExec(const std::string& exec) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Version=1.5\n"
           "Name=Qarvex\n"
           "Comment=Keeps the local iSCSI forwarder running\n"
           "Exec=" +
           exec +
           "\n"
           "Icon=qarvex\n"
           "Terminal=false\n"
           "Hidden=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::string platformText(const std::string& label, const fs::path& program) {
#ifdef __APPLE__
    return LaunchAgentManager::launchAgentPlistText(label, program);
#else
    (void)label;
    return LaunchAgentManager::desktopEntryText(program);
#endif
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

    std::size_t entriesIn(const fs::path& folder) {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
};

TEST_F(LaunchAgentManagerTest, NamesItsFileAfterTheLabelAndTouchesNothingUntilAsked) {
    const LaunchAgentManager named("/tmp/agents", "x.y");
    EXPECT_EQ(named.plistURL(),
              fs::path("/tmp/agents") / ("x.y" + std::string(LaunchAgentManager::fileSuffix)));
    EXPECT_EQ(named.label(), "x.y");

    const auto manager = makeManager(m_dir / "autostart");
    EXPECT_EQ(manager.plistURL().filename(),
              "com.dravenloe.velquor" + std::string(LaunchAgentManager::fileSuffix));
    EXPECT_FALSE(manager.isEnabled());
    EXPECT_FALSE(fs::exists(m_dir / "autostart"));
    EXPECT_EQ(m_providerCalls, 0);
}

TEST_F(LaunchAgentManagerTest, EnablingAndDisablingWritesAndRemovesTheFile) {
    auto manager = makeManager(m_dir / "home" / ".config" / "autostart");
    manager.setEnabled(true);
    EXPECT_TRUE(manager.isEnabled());
    EXPECT_EQ(readFile(manager.plistURL()), platformText(manager.label(), m_program));
    EXPECT_EQ(m_providerCalls, 1);

    manager.setEnabled(false);
    EXPECT_FALSE(manager.isEnabled());
    EXPECT_EQ(entriesIn(manager.plistURL().parent_path()), 0u);

    EXPECT_NO_THROW(manager.uninstall()) << "nothing to remove is success";
    EXPECT_EQ(entriesIn(manager.plistURL().parent_path()), 0u);
}

TEST_F(LaunchAgentManagerTest, InstallingAgainUsesTheProgramPathOfThatCall) {
    auto manager = makeManager(m_dir.path());
    manager.install();
    m_program = "/home/me/Applications/qarvex";
    manager.install();
    EXPECT_EQ(readFile(manager.plistURL()), platformText(manager.label(), m_program));
    EXPECT_EQ(m_providerCalls, 2);
    EXPECT_EQ(entriesIn(m_dir.path()), 1u) << "a temporary file was left behind";
}

TEST_F(LaunchAgentManagerTest, AnythingAtTheNameCountsAsEnabledAndIsRemoved) {
    auto manager = makeManager(m_dir.path());
    writeFile(manager.plistURL(), "written by hand\n");
    EXPECT_TRUE(manager.isEnabled());
    manager.uninstall();
    EXPECT_FALSE(manager.isEnabled());

    fs::create_symlink(m_dir / "gone", manager.plistURL());
    EXPECT_TRUE(manager.isEnabled()) << "a dangling link still occupies the name";
    manager.uninstall();
    EXPECT_FALSE(fs::is_symlink(manager.plistURL()));
}

TEST_F(LaunchAgentManagerTest, FailedInstallsThrowAndLeaveTheEarlierStateAsItWas) {
    writeFile(m_dir / "blocker", "a file where the folder should be");
    auto blocked = makeManager(m_dir / "blocker" / "autostart");
    EXPECT_THROW(blocked.install(), std::system_error);
    EXPECT_EQ(readFile(m_dir / "blocker"), "a file where the folder should be");
    EXPECT_FALSE(blocked.isEnabled());

    auto manager = makeManager(m_dir / "autostart");
    manager.install();
    const auto before = readFile(manager.plistURL());
    m_program = "/somewhere/else/qarvex";

    LaunchAgentManager failingProvider(
        m_dir / "autostart", std::string(LaunchAgentManager::defaultLabel),
        []() -> fs::path { throw std::system_error(ENOENT, std::generic_category(), "test"); });
    EXPECT_THROW(failingProvider.install(), std::system_error);
    LaunchAgentManager emptyProvider(m_dir / "autostart",
                                     std::string(LaunchAgentManager::defaultLabel),
                                     [] { return fs::path(); });
    EXPECT_THROW(emptyProvider.install(), std::system_error);
    EXPECT_EQ(readFile(manager.plistURL()), before);

    fs::permissions(m_dir / "autostart", fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) { // root writes anyway
        EXPECT_THROW(manager.install(), std::system_error);
        EXPECT_THROW(manager.uninstall(), std::system_error);
        EXPECT_EQ(readFile(manager.plistURL()), before);
    }
    fs::permissions(m_dir / "autostart", fs::perms::owner_all);
    EXPECT_EQ(entriesIn(m_dir / "autostart"), 1u) << "a temporary file was left behind";
}

TEST(LaunchAgentManagerText, DesktopEntryQuotesExecAsLaunchersUnquoteIt) {
    EXPECT_EQ(LaunchAgentManager::desktopEntryText("/usr/local/bin/qarvex"),
              desktopEntryWithExec("/usr/local/bin/qarvex"));
    EXPECT_EQ(LaunchAgentManager::desktopEntryText("/home/me/My Apps/qarvex"),
              desktopEntryWithExec("\"/home/me/My Apps/qarvex\""));
    // Quoting escapes $ and \ once, then the string value doubles every backslash again.
    EXPECT_EQ(LaunchAgentManager::desktopEntryText("/opt/$HOME\\x/100%/qarvex"),
              desktopEntryWithExec(R"("/opt/\\$HOME\\\\x/100%%/qarvex")"));

    const std::vector<std::pair<std::string, std::string>> execs = {
        {"/opt/100%/qarvex", "/opt/100%%/qarvex"}, // % alone needs no quotes
        {"/opt/a\"b`c/qarvex", R"("/opt/a\\"b\\`c/qarvex")"},
        {"/opt/it's~#;|&<>*?()/qarvex", "\"/opt/it's~#;|&<>*?()/qarvex\""},
        {"/opt/tab\there\nnext/qarvex", R"("/opt/tab\there\nnext/qarvex")"},
        {"/opt/a=b/qarvex", "/opt/a=b/qarvex"},
    };
    for (const auto& [program, exec] : execs) {
        SCOPED_TRACE(program);
        const auto text = LaunchAgentManager::desktopEntryText(program);
        EXPECT_NE(text.find("\nExec=" + exec + "\nIcon="), std::string::npos) << text;
    }
}

TEST(LaunchAgentManagerText, PlistHasTheFourKeysWithEscapedStrings) {
    const std::string expected = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                 "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                 "<plist version=\"1.0\">\n"
                                 "<dict>\n"
                                 "\t<key>Label</key>\n"
                                 "\t<string>com.dravenloe.velquor</string>\n"
                                 "\t<key>ProgramArguments</key>\n"
                                 "\t<array>\n"
                                 "\t\t<string>/usr/bin/open</string>\n"
                                 "\t\t<string>-a</string>\n"
                                 "\t\t<string>/Applications/Q &amp; A &lt;beta&gt;.app</string>\n"
                                 "\t</array>\n"
                                 "\t<key>RunAtLoad</key>\n"
                                 "\t<true/>\n"
                                 "\t<key>KeepAlive</key>\n"
                                 "\t<false/>\n"
                                 "</dict>\n"
                                 "</plist>\n";
    EXPECT_EQ(LaunchAgentManager::launchAgentPlistText("com.dravenloe.velquor",
                                                       "/Applications/Q & A <beta>.app"),
              expected);
    EXPECT_NE(LaunchAgentManager::launchAgentPlistText("a&b", "/x").find("<string>a&amp;b<"),
              std::string::npos);
}

// Puts an environment variable back as it was when the test ends.
class SavedVariable {
public:
    explicit SavedVariable(const char* name) : m_name(name) {
        if (const char* value = std::getenv(name)) {
            m_value = value;
        }
    }
    ~SavedVariable() { m_value ? ::setenv(m_name, m_value->c_str(), 1) : ::unsetenv(m_name); }

private:
    const char* m_name;
    std::optional<std::string> m_value;
};

TEST(LaunchAgentManagerDefaults, FolderFollowsXdgConfigHomeOnlyWhenAbsolute) {
    const SavedVariable home("HOME"), xdg("XDG_CONFIG_HOME");
    ::setenv("HOME", "/home/someone", 1);
#ifdef __APPLE__
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/home/someone/Library/LaunchAgents"));
#else
    ::setenv("XDG_CONFIG_HOME", "/xdg/config", 1);
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/xdg/config/autostart"));
    ::setenv("XDG_CONFIG_HOME", "relative/config", 1);
    EXPECT_EQ(LaunchAgentManager::defaultLaunchAgentsDirectory(),
              fs::path("/home/someone/.config/autostart"));
#endif
    EXPECT_EQ(LaunchAgentManager::runningProgram().filename(), "velquor_core_tests");
}

} // namespace
} // namespace velquor
