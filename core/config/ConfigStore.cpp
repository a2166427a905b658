#include "core/config/ConfigStore.h"

#include "core/files/AtomicFile.h"
#include "core/files/FileDescriptor.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

namespace velquor {

namespace {

// 2026-11-16T20:17:01Z with every ":" made "-", so the name is valid on every file system.
std::string asideTimestamp() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H-%M-%SZ", &utc);
    return text;
}

// A file that cannot be read (no permission, an I/O error, a folder or a FIFO in its place) is
// not known to be damaged: a running program leaves it where it is.
class UnreadableFile : public std::system_error {
public:
    using std::system_error::system_error;
};

[[noreturn]] void fail(int error, const std::filesystem::path& path) {
    throw UnreadableFile(error, std::generic_category(), "reading " + path.string());
}

bool isPermissionError(const std::system_error& error) {
    return error.code().value() == EACCES || error.code().value() == EPERM;
}

std::string readAll(int fd, const std::filesystem::path& path) {
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const auto got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            fail(errno, path);
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
}

// A reason fit for one log line: the text can quote the file.
std::string oneLine(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    return text;
}

// 0 or why it failed. Unlike rename(2), never replaces an earlier set-aside file.
int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    const int error = errno;
    if (error != EINVAL && error != ENOSYS) {
        return error;
    }
    // A file system without RENAME_NOREPLACE.
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) {
        return EEXIST;
    }
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// Several files damaged within one second each keep a name of their own.
constexpr int asideNameAttempts = 100;

} // namespace

ConfigStore::ConfigStore(std::filesystem::path configURL) : m_configURL(std::move(configURL)) {}

ForwarderConfig ConfigStore::load() {
    return loadReporting().config;
}

ConfigStore::Loaded ConfigStore::loadReporting() {
    if (isMissing()) {
        saveInternal(ForwarderConfig::defaults());
        return {ForwarderConfig::defaults(), std::nullopt};
    }
    try {
        return {readValidConfig(), std::nullopt};
    } catch (const UnreadableFile& error) {
        if (isPermissionError(error)) {
            declineUnreadable();
            throw;
        }
        return {ForwarderConfig::defaults(), setAsideWithDefaults(error)};
    } catch (const std::exception& damage) {
        return {ForwarderConfig::defaults(), setAsideWithDefaults(damage)};
    }
}

ConfigStore::SetAside ConfigStore::setAsideWithDefaults(const std::exception& damage) {
    // The bytes stay in the set-aside file, for the user to look at.
    const auto aside = moveCorruptedConfigAside();
    saveInternal(ForwarderConfig::defaults());
    return {aside.value_or(m_configURL), oneLine(damage.what())};
}

ConfigStore::Reread ConfigStore::reread() {
    using Kind = Reread::Kind;
    if (isMissing()) {
        return {};
    }
    try {
        return {Kind::valid, readValidConfig(), {}, std::nullopt};
    } catch (const UnreadableFile& error) {
        declineUnreadable();
        return {Kind::unreadable, std::nullopt, oneLine(error.what()), std::nullopt};
    } catch (const std::exception& damage) {
        return {Kind::damaged, std::nullopt, oneLine(damage.what()), moveCorruptedConfigAside()};
    }
}

bool ConfigStore::isMissing() const {
    struct stat info {};
    // Through a symlink: one that names nothing is no file either.
    return ::stat(m_configURL.c_str(), &info) != 0 && errno == ENOENT;
}

void ConfigStore::declineUnreadable() {
    m_stamp = stampOf(m_configURL);
    m_unreadable = true;
}

ForwarderConfig ConfigStore::readValidConfig() {
    auto [config, stamp] = readValid(m_configURL);
    m_stamp = stamp;
    m_unreadable = false;
    return config;
}

std::pair<ForwarderConfig, ConfigStore::Stamp>
ConfigStore::readValid(const std::filesystem::path& path) {
    // Non-blocking: a FIFO put in its place must not hang the service.
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd.get() < 0) {
        fail(errno, path);
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail(errno, path);
    }
    if (!S_ISREG(info.st_mode)) {
        fail(S_ISDIR(info.st_mode) ? EISDIR : EINVAL, path);
    }
    if (static_cast<std::uintmax_t>(info.st_size) > maximumFileSize) {
        throw std::system_error(EFBIG, std::generic_category(), "reading " + path.string());
    }
    const auto bytes = readAll(fd.get(), path);
    // The JSON reader would stop at a NUL and never see what follows it.
    if (bytes.find('\0') != std::string::npos) {
        throw std::invalid_argument("a NUL byte in " + path.string());
    }
    return {ForwarderConfig::fromJson(nlohmann::json::parse(bytes)).validated(), stampFrom(info)};
}

std::optional<ForwarderConfig> ConfigStore::peek() const {
    try {
        return readValid(m_configURL).first;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void ConfigStore::save(const ForwarderConfig& config) {
    saveInternal(config.validated());
}

void ConfigStore::saveInternal(const ForwarderConfig& config) {
    if (m_unreadable && stampOf(m_configURL) == m_stamp) {
        throw std::system_error(EACCES, std::generic_category(),
                                "not writing over " + m_configURL.string() +
                                    ", which could not be read");
    }
    const auto folder = m_configURL.parent_path();
    if (!folder.empty()) {
        createDirectories(folder);
    }
    const auto target = writeTarget();
    if (target != m_configURL && !target.parent_path().empty()) {
        createDirectories(target.parent_path());
    }
    writeFileAtomically(target, config.toJson().dump(2) + "\n");
    m_stamp = stampOf(m_configURL);
    m_unreadable = false;
}

// Replacing the link itself would cut it off from the file it names, also when that file does
// not exist yet.
std::filesystem::path ConfigStore::writeTarget() const {
    constexpr int maximumLinks = 40; // as the kernel follows them
    auto path = m_configURL;
    for (int link = 0; link < maximumLinks; ++link) {
        std::error_code error;
        if (!std::filesystem::is_symlink(path, error)) {
            return path;
        }
        const auto named = std::filesystem::read_symlink(path, error);
        if (error) {
            break;
        }
        path = named.is_absolute() ? named : path.parent_path() / named;
    }
    return m_configURL;
}

std::optional<std::filesystem::path> ConfigStore::moveCorruptedConfigAside() const {
    std::error_code error;
    if (std::filesystem::symlink_status(m_configURL, error).type() ==
        std::filesystem::file_type::not_found) {
        return std::nullopt;
    }
    const std::string name = "config.json.invalid-" + asideTimestamp();
    for (int attempt = 1;; ++attempt) {
        const auto aside = m_configURL.parent_path() /
                           (attempt == 1 ? name : name + "-" + std::to_string(attempt));
        const int error = renameWithoutReplacing(m_configURL, aside);
        if (error == 0) {
            return aside;
        }
        if (error != EEXIST || attempt == asideNameAttempts) {
            throw std::system_error(error, std::generic_category(),
                                    "moving " + m_configURL.string() + " to " + aside.string());
        }
    }
}

bool ConfigStore::changedOnDisk() const {
    const auto now = stampOf(m_configURL);
    return m_stamp && now && now != m_stamp;
}

std::optional<ConfigStore::Stamp> ConfigStore::stampOf(const std::filesystem::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return stampFrom(info);
}

ConfigStore::Stamp ConfigStore::stampFrom(const struct stat& info) {
    return {info.st_dev,          info.st_ino,         info.st_size,        info.st_mtim.tv_sec,
            info.st_mtim.tv_nsec, info.st_ctim.tv_sec, info.st_ctim.tv_nsec};
}

} // namespace velquor
