#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace velquor {

// The start-at-login switch: one file that the desktop session reads at login (an XDG
// autostart entry on Linux, a launchd agent on macOS). Nothing is started or stopped now; a
// change takes effect at the next login.
class LaunchAgentManager {
public:
    static constexpr const char* defaultLabel = "com.dravenloe.velquor";

    using ProgramProvider = std::function<std::filesystem::path()>;

    // The provider names the program to start; it is asked when the file is written.
    explicit LaunchAgentManager(std::filesystem::path launchAgentsDirectory,
                                std::string label = defaultLabel,
                                ProgramProvider appURLProvider = runningProgram);

    const std::filesystem::path& plistURL() const noexcept { return m_plistURL; }
    const std::string& label() const noexcept { return m_label; }

    // Whether the file is there, whoever wrote it.
    bool isEnabled() const;
    void setEnabled(bool enabled);
    // Throws std::system_error; an earlier file stays as it was when writing fails.
    void install();
    // Succeeds when there is nothing to remove.
    void uninstall();

    // ${XDG_CONFIG_HOME:-~/.config}/autostart on Linux, ~/Library/LaunchAgents on macOS.
    static std::filesystem::path defaultLaunchAgentsDirectory();
    static std::filesystem::path runningProgram();

    // The two file formats, whatever the platform.
    static std::string desktopEntryText(const std::string& label,
                                        const std::filesystem::path& program);
    static std::string launchAgentPlistText(const std::string& label,
                                            const std::filesystem::path& program);

private:
    std::filesystem::path m_plistURL;
    std::string m_label;
    ProgramProvider m_appURLProvider;
};

} // namespace velquor
