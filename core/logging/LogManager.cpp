#include "core/logging/LogManager.h"

#include "core/files/AtomicFile.h"
#include "core/files/FileDescriptor.h"
#include "core/text/Utf8.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velquor {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

bool fileExists(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

std::string readFrom(int fd, off_t offset, const std::string& path) {
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const auto got = ::pread(fd, buffer, sizeof buffer, offset);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "reading " + path);
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
        offset += got;
    }
}

// Only a regular file is a log: a FIFO would block the service on open or write, a device or a
// directory is nothing to append to or read back. O_NONBLOCK makes the open itself safe.
FileDescriptor openRegularFile(const std::filesystem::path& path, int flags,
                               const std::string& what) {
    FileDescriptor fd(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK));
    if (!fd.isOpen()) {
        if (errno == ENXIO) { // a FIFO that nobody reads
            fail(EINVAL, what + " " + path.string() + ": not a regular file");
        }
        fail(errno, what + " " + path.string());
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail(errno, what + " " + path.string());
    }
    if (!S_ISREG(info.st_mode)) {
        fail(EINVAL, what + " " + path.string() + ": not a regular file");
    }
    return fd;
}

bool isDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

int number(std::string_view digits) {
    int value = 0;
    for (const char c : digits) {
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

LogManager::LogManager(std::filesystem::path logURL) : m_logURL(std::move(logURL)) {}

std::string LogManager::formatTimestamp(Clock::time_point date) {
    const std::time_t seconds = Clock::to_time_t(date);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

std::optional<LogManager::Clock::time_point>
LogManager::parseBracketTimestamp(std::string_view line) {
    // A stamp is ASCII, so counting bytes here counts characters.
    if (line.size() < 21 || line[0] != '[' || line[20] != ']') {
        return std::nullopt;
    }
    const auto stamp = line.substr(1, 19);
    if (stamp[4] != '-' || stamp[7] != '-' || stamp[10] != ' ' || stamp[13] != ':' ||
        stamp[16] != ':') {
        return std::nullopt;
    }
    const std::string_view fields[] = {stamp.substr(0, 4),  stamp.substr(5, 2),
                                       stamp.substr(8, 2),  stamp.substr(11, 2),
                                       stamp.substr(14, 2), stamp.substr(17, 2)};
    for (const auto field : fields) {
        if (!isDigits(field)) {
            return std::nullopt;
        }
    }
    std::tm local{};
    local.tm_year = number(fields[0]) - 1900;
    local.tm_mon = number(fields[1]) - 1;
    local.tm_mday = number(fields[2]);
    local.tm_hour = number(fields[3]);
    local.tm_min = number(fields[4]);
    local.tm_sec = number(fields[5]);
    local.tm_isdst = -1;
    const std::tm asWritten = local;
    const std::time_t seconds = std::mktime(&local);
    // mktime silently rolls 2026-02-30 into March; such a text is not a stamp.
    if (seconds == -1 || local.tm_mday != asWritten.tm_mday || local.tm_mon != asWritten.tm_mon ||
        local.tm_min != asWritten.tm_min || local.tm_sec != asWritten.tm_sec) {
        return std::nullopt;
    }
    return Clock::from_time_t(seconds);
}

void LogManager::ensureParentDirectoryExists() const {
    const auto folder = m_logURL.parent_path();
    if (!folder.empty()) {
        createDirectories(folder);
    }
}

void LogManager::append(std::string_view message, Clock::time_point date) const {
    ensureParentDirectoryExists();
    std::string line = "[" + formatTimestamp(date) + "] ";
    line.append(message);
    line += '\n';
    if (!fileExists(m_logURL)) {
        writeFileAtomically(m_logURL, line);
        return;
    }
    const FileDescriptor fd = openRegularFile(m_logURL, O_WRONLY | O_APPEND, "opening");
    std::string_view rest = line;
    while (!rest.empty()) {
        const auto written = ::write(fd.get(), rest.data(), rest.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "writing " + m_logURL.string());
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string LogManager::readRecent(std::int64_t maxBytes) const {
    if (!fileExists(m_logURL)) {
        return "";
    }
    const FileDescriptor fd = openRegularFile(m_logURL, O_RDONLY, "opening");
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail(errno, "reading " + m_logURL.string());
    }
    const off_t start = info.st_size > maxBytes ? info.st_size - maxBytes : 0;
    return repairUtf8(readFrom(fd.get(), start, m_logURL.string()));
}

void LogManager::clear() const {
    ensureParentDirectoryExists();
    writeFileAtomically(m_logURL, "");
}

void LogManager::prune(std::int64_t retentionDays, Clock::time_point now) const {
    if (retentionDays < 0 || !fileExists(m_logURL)) {
        return;
    }
    const std::time_t nowSeconds = Clock::to_time_t(now);
    std::tm local{};
    ::localtime_r(&nowSeconds, &local);
    local.tm_mday -= static_cast<int>(std::min<std::int64_t>(retentionDays, 1'000'000));
    local.tm_isdst = -1;
    const std::time_t cutoffSeconds = std::mktime(&local);
    if (cutoffSeconds == -1) {
        return;
    }
    // Keep the sub-second part of now: the cut-off is now moved by whole days.
    const auto cutoff = Clock::from_time_t(cutoffSeconds) + (now - Clock::from_time_t(nowSeconds));

    const FileDescriptor fd = openRegularFile(m_logURL, O_RDONLY, "opening");
    const auto text = readFrom(fd.get(), 0, m_logURL.string());
    if (!isValidUtf8(text)) {
        fail(EILSEQ, "reading " + m_logURL.string());
    }
    std::string kept;
    kept.reserve(text.size());
    bool first = true;
    for (std::size_t start = 0;;) {
        const auto end = text.find('\n', start);
        const auto piece = std::string_view(text).substr(
            start, end == std::string::npos ? std::string::npos : end - start);
        const auto stamp = parseBracketTimestamp(piece);
        if (!stamp || *stamp >= cutoff) {
            if (!first) {
                kept += '\n';
            }
            kept.append(piece);
            first = false;
        }
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    writeFileAtomically(m_logURL, kept);
}

} // namespace velquor
