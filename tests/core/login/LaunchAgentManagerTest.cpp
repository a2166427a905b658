#include "core/login/LaunchAgentManager.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace velquor {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string execLine(const fs::path& program) {
    const auto text = LaunchAgentManager::desktopEntryText("x", program);
    const auto start = text.find("\nExec=") + 6;
    return text.substr(start, text.find('\n', start) - start);
}

TEST(LaunchAgentManager, InstallsUninstallsAndRewritesWithTheCurrentProgram) {
    test::TemporaryDirectory folder;
    fs::path program = "/opt/qarvex/bin/qarvex";
    LaunchAgentManager manager(folder / "nested" / "autostart", "x.y", [&] { return program; });
    EXPECT_EQ(manager.plistURL(), folder / "nested" / "autostart" / "x.y.desktop");
    EXPECT_FALSE(manager.isEnabled());
    EXPECT_NO_THROW(manager.uninstall()) << "nothing to remove is fine";

    manager.setEnabled(true);
    EXPECT_TRUE(manager.isEnabled());
    program = "/usr/local/bin/qarvex";
    manager.install();
    EXPECT_EQ(readFile(manager.plistURL()),
              LaunchAgentManager::desktopEntryText("x.y", "/usr/local/bin/qarvex"));

    manager.setEnabled(false);
    EXPECT_FALSE(manager.isEnabled());
    std::ofstream(manager.plistURL()) << "written by hand";
    EXPECT_TRUE(manager.isEnabled()) << "any file there counts";
}

TEST(LaunchAgentManager, AFolderThatCannotBeMadeFailsAndWritesNothing) {
    test::TemporaryDirectory folder;
    std::ofstream(folder / "autostart") << "a file where the folder should be";
    LaunchAgentManager manager(folder / "autostart");
    EXPECT_THROW(manager.install(), std::system_error);
    EXPECT_FALSE(manager.isEnabled());
}

TEST(LaunchAgentFiles, DesktopEntryStartsThisProgramAtLogin) {
    EXPECT_EQ(LaunchAgentManager::desktopEntryText("com.dravenloe.velquor", "/usr/bin/qarvex"),
              "[Desktop Entry]\n"
              "Type=Application\n"
              "Version=1.5\n"
              "Name=Qarvex\n"
              "Comment=Keeps the local iSCSI forwarder running\n"
              "Exec=/usr/bin/qarvex\n"
              "Icon=qarvex\n"
              "Terminal=false\n"
              "NoDisplay=true\n"
              "X-GNOME-Autostart-enabled=true\n"
              "X-Velquor-Label=com.dravenloe.velquor\n");
}

TEST(LaunchAgentFiles, ExecQuotesReservedCharactersAsDesktopEntriesRequire) {
    EXPECT_EQ(execLine("/opt/my apps/qarvex"), "\"/opt/my apps/qarvex\"");
    EXPECT_EQ(execLine("/opt/$HOME/qarvex"), "\"/opt/\\\\$HOME/qarvex\"");
    EXPECT_EQ(execLine("/opt/a\\b/qarvex"), "\"/opt/a\\\\\\\\b/qarvex\"");
    EXPECT_EQ(execLine("/opt/100%/qarvex"), "/opt/100%%/qarvex");
}

TEST(LaunchAgentFiles, LaunchdAgentHasExactlyTheFourKeys) {
    EXPECT_EQ(LaunchAgentManager::launchAgentPlistText("x.y", "/Applications/Q & A.app"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<dict>\n"
              "\t<key>KeepAlive</key>\n"
              "\t<false/>\n"
              "\t<key>Label</key>\n"
              "\t<string>x.y</string>\n"
              "\t<key>ProgramArguments</key>\n"
              "\t<array>\n"
              "\t\t<string>/usr/bin/open</string>\n"
              "\t\t<string>-a</string>\n"
              "\t\t<string>/Applications/Q &amp; A.app</string>\n"
              "\t</array>\n"
              "\t<key>RunAtLoad</key>\n"
              "\t<true/>\n"
              "</dict>\n"
              "</plist>\n");
}

} // namespace
} // namespace velquor
