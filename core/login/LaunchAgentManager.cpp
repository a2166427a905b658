#include "core/login/LaunchAgentManager.h"

#include "core/files/AtomicFile.h"

#include <cstdlib>
#include <pwd.h>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

#ifdef __APPLE__
constexpr const char* fileSuffix = ".plist";
#else
constexpr const char* fileSuffix = ".desktop";
#endif

std::filesystem::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return home;
    }
    if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir) {
        return entry->pw_dir;
    }
    throw std::runtime_error("cannot find the home folder of this user");
}

// An Exec argument as desktop entries want it: quoted when it holds a reserved character, with
// ", `, $ and \ escaped inside the quotes; then "%" doubled for field codes and "\" doubled
// again because the whole value is a string value.
std::string quotedExecArgument(const std::string& argument) {
    constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    std::string text;
    if (argument.find_first_of(reserved) == std::string::npos) {
        text = argument;
    } else {
        text = "\"";
        for (const char c : argument) {
            if (c == '"' || c == '`' || c == '$' || c == '\\') {
                text += '\\';
            }
            text += c;
        }
        text += '"';
    }
    std::string value;
    for (const char c : text) {
        if (c == '%') {
            value += "%%";
        } else if (c == '\\') {
            value += "\\\\";
        } else {
            value += c;
        }
    }
    return value;
}

std::string xmlEscaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

} // namespace

LaunchAgentManager::LaunchAgentManager(std::filesystem::path launchAgentsDirectory,
                                       std::string label, ProgramProvider appURLProvider)
    : m_plistURL(launchAgentsDirectory / (label + fileSuffix)), m_label(std::move(label)),
      m_appURLProvider(std::move(appURLProvider)) {}

bool LaunchAgentManager::isEnabled() const {
    std::error_code ignored;
    return std::filesystem::exists(m_plistURL, ignored);
}

void LaunchAgentManager::setEnabled(bool enabled) {
    if (enabled) {
        install();
    } else {
        uninstall();
    }
}

void LaunchAgentManager::install() {
    createDirectories(m_plistURL.parent_path());
    const auto program = m_appURLProvider();
#ifdef __APPLE__
    writeFileAtomically(m_plistURL, launchAgentPlistText(m_label, program));
#else
    writeFileAtomically(m_plistURL, desktopEntryText(m_label, program));
#endif
}

void LaunchAgentManager::uninstall() {
    std::error_code error;
    std::filesystem::remove(m_plistURL, error);
    if (error) {
        throw std::system_error(error, "removing " + m_plistURL.string());
    }
}

std::filesystem::path LaunchAgentManager::defaultLaunchAgentsDirectory() {
#ifdef __APPLE__
    return homeFolder() / "Library" / "LaunchAgents";
#else
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config != nullptr && *config == '/') {
        return std::filesystem::path(config) / "autostart";
    }
    return homeFolder() / ".config" / "autostart";
#endif
}

std::filesystem::path LaunchAgentManager::runningProgram() {
    std::error_code error;
    auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path("qarvex") : program;
}

std::string LaunchAgentManager::desktopEntryText(const std::string& label,
                                                 const std::filesystem::path& program) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Version=1.5\n"
           "Name=Qarvex\n"
           "Comment=Keeps the local iSCSI forwarder running\n"
           "Exec=" +
           quotedExecArgument(program.string()) +
           "\n"
           "Icon=qarvex\n"
           "Terminal=false\n"
           "NoDisplay=true\n"
           "X-GNOME-Autostart-enabled=true\n"
           "X-Velquor-Label=" +
           label + "\n";
}

std::string LaunchAgentManager::launchAgentPlistText(const std::string& label,
                                                     const std::filesystem::path& program) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n"
           "<dict>\n"
           "\t<key>KeepAlive</key>\n"
           "\t<false/>\n"
           "\t<key>Label</key>\n"
           "\t<string>" +
           xmlEscaped(label) +
           "</string>\n"
           "\t<key>ProgramArguments</key>\n"
           "\t<array>\n"
           "\t\t<string>/usr/bin/open</string>\n"
           "\t\t<string>-a</string>\n"
           "\t\t<string>" +
           xmlEscaped(program.string()) +
           "</string>\n"
           "\t</array>\n"
           "\t<key>RunAtLoad</key>\n"
           "\t<true/>\n"
           "</dict>\n"
           "</plist>\n";
}

} // namespace velquor
