#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace velquor {

// The start-at-login switch. It only writes or removes one file that the session reads when the
// user logs in, so a change takes effect at the next login and nothing running is touched. On
// Linux the file is an XDG autostart desktop entry; on macOS a launch agent property list.
class LaunchAgentManager {
public:
    static constexpr std::string_view defaultLabel = "com.dravenloe.velquor";
#ifdef __APPLE__
    static constexpr std::string_view fileSuffix = ".plist";
#else
    static constexpr std::string_view fileSuffix = ".desktop";
#endif

    // Touches no file. `appURLProvider` is asked for the program to start on every install, so
    // a moved program is picked up; the default is the running program.
    explicit LaunchAgentManager(
        std::filesystem::path launchAgentsDirectory, std::string label = std::string(defaultLabel),
        std::function<std::filesystem::path()> appURLProvider = runningProgram);

    const std::filesystem::path& plistURL() const noexcept {
        return m_plistURL;
    }
    const std::string& label() const noexcept {
        return m_label;
    }

    // Whether a file is at plistURL(), whatever it holds: a file the user wrote by hand still
    // starts something at login. A link counts by what it leads to. False when that cannot be
    // found out.
    bool isEnabled() const noexcept;

    void setEnabled(bool enabled);

    // Creates the folder when missing and replaces any earlier file in one step; on failure the
    // earlier file stays as it was. A link at the name is replaced, not written through.
    // Throws std::system_error.
    void install();

    // Nothing to remove, a dangling link included, is success and leaves it. A link to a file
    // is removed, not the file. Throws std::system_error when the removal fails.
    void uninstall();

    // Linux: ${XDG_CONFIG_HOME:-~/.config}/autostart; macOS: ~/Library/LaunchAgents. Creates
    // nothing. Throws std::runtime_error when the home folder cannot be found.
    static std::filesystem::path defaultLaunchAgentsDirectory();

    // The absolute path of the running program. Safe from any thread; throws std::system_error.
    static std::filesystem::path runningProgram();

    // The label names the file, not a key in it: a desktop entry has no field for it.
    static std::string desktopEntryText(const std::filesystem::path& program);
    static std::string launchAgentPlistText(const std::string& label,
                                            const std::filesystem::path& program);

private:
    std::filesystem::path m_plistURL;
    std::string m_label;
    std::function<std::filesystem::path()> m_appURLProvider;
};

} // namespace velquor
