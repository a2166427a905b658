#include "core/login/LaunchAgentManager.h"

#include "core/files/AtomicFile.h"
#include "core/files/UserFolders.h"

#include <cerrno>
#include <system_error>

#ifdef __APPLE__
#include <cstdint>
#include <mach-o/dyld.h>
#include <vector>
#endif

namespace velquor {

namespace {

bool isReservedInExec(char c) {
    return std::string_view(" \t\n\"'\\><~|&;$*?#()`").find(c) != std::string_view::npos;
}

// An Exec argument is unquoted by the launcher after the string escapes are undone, and "%"
// would start a field code.
std::string execArgument(const std::string& argument) {
    bool quoted = argument.empty();
    for (const char c : argument) {
        quoted = quoted || isReservedInExec(c);
    }
    std::string result = quoted ? "\"" : "";
    for (const char c : argument) {
        if (quoted && (c == '"' || c == '`' || c == '$' || c == '\\')) {
            result += '\\';
        }
        result += c == '%' ? "%%" : std::string(1, c);
    }
    return quoted ? result + '"' : result;
}

// A desktop entry value may hold no control characters and reads "\" as an escape.
std::string desktopStringValue(const std::string& value) {
    std::string result;
    for (const char c : value) {
        switch (c) {
        case '\\':
            result += "\\\\";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\r':
            result += "\\r";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string xmlText(const std::string& value) {
    std::string result;
    for (const char c : value) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// Through a link, as the session reads the file: a link whose target is gone holds nothing.
bool isMissing(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::status(path, error).type() == std::filesystem::file_type::not_found;
}

} // namespace

LaunchAgentManager::LaunchAgentManager(std::filesystem::path launchAgentsDirectory,
                                       std::string label,
                                       std::function<std::filesystem::path()> appURLProvider)
    : m_plistURL(std::move(launchAgentsDirectory) / (label + std::string(fileSuffix))),
      m_label(std::move(label)), m_appURLProvider(std::move(appURLProvider)) {}

bool LaunchAgentManager::isEnabled() const noexcept {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::status(m_plistURL, error));
}

void LaunchAgentManager::setEnabled(bool enabled) {
    if (enabled) {
        install();
    } else {
        uninstall();
    }
}

void LaunchAgentManager::install() {
    if (const auto folder = m_plistURL.parent_path(); !folder.empty()) {
        createDirectories(folder);
    }
    const auto program = m_appURLProvider();
    if (program.empty()) {
        throw std::system_error(ENOENT, std::generic_category(),
                                "finding the program to start at login");
    }
#ifdef __APPLE__
    writeFileAtomically(m_plistURL, launchAgentPlistText(m_label, program), NewFileMode::userUmask);
#else
    writeFileAtomically(m_plistURL, desktopEntryText(program), NewFileMode::userUmask);
#endif
}

void LaunchAgentManager::uninstall() {
    if (isMissing(m_plistURL)) {
        return;
    }
    std::error_code error;
    std::filesystem::remove(m_plistURL, error);
    if (error) {
        throw std::system_error(error, "removing " + m_plistURL.string());
    }
}

std::filesystem::path LaunchAgentManager::defaultLaunchAgentsDirectory() {
#ifdef __APPLE__
    return UserFolders::home() / "Library" / "LaunchAgents";
#else
    return UserFolders::xdg("XDG_CONFIG_HOME", ".config") / "autostart";
#endif
}

std::filesystem::path LaunchAgentManager::runningProgram() {
#ifdef __APPLE__
    std::uint32_t size = 0;
    ::_NSGetExecutablePath(nullptr, &size);
    std::vector<char> buffer(size + 1, '\0');
    if (::_NSGetExecutablePath(buffer.data(), &size) != 0) {
        throw std::system_error(ENAMETOOLONG, std::generic_category(),
                                "finding the path of the running program");
    }
    std::error_code error;
    auto program = std::filesystem::canonical(buffer.data(), error);
#else
    std::error_code error;
    auto program = std::filesystem::read_symlink("/proc/self/exe", error);
#endif
    if (error) {
        throw std::system_error(error, "finding the path of the running program");
    }
    return program;
}

std::string LaunchAgentManager::desktopEntryText(const std::filesystem::path& program) {
    // No NoDisplay: the autostart folder feeds no menu, and desktops hide NoDisplay entries
    // from their list of startup programs, where the user should be able to find this one.
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Version=1.5\n"
           "Name=Qarvex\n"
           "Comment=Keeps the local iSCSI forwarder running\n"
           "Exec=" +
           desktopStringValue(execArgument(program.string())) +
           "\n"
           "Icon=qarvex\n"
           "Terminal=false\n"
           "Hidden=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::string LaunchAgentManager::launchAgentPlistText(const std::string& label,
                                                     const std::filesystem::path& program) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n"
           "<dict>\n"
           "\t<key>Label</key>\n"
           "\t<string>" +
           xmlText(label) +
           "</string>\n"
           "\t<key>ProgramArguments</key>\n"
           "\t<array>\n"
           "\t\t<string>/usr/bin/open</string>\n"
           "\t\t<string>-a</string>\n"
           "\t\t<string>" +
           xmlText(program.string()) +
           "</string>\n"
           "\t</array>\n"
           "\t<key>RunAtLoad</key>\n"
           "\t<true/>\n"
           "\t<key>KeepAlive</key>\n"
           "\t<false/>\n"
           "</dict>\n"
           "</plist>\n";
}

} // namespace velquor
