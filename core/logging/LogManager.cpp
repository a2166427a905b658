#include "core/logging/LogManager.h"

#include "core/files/AtomicFile.h"
#include "core/files/AtomicFileWriter.h"
#include "core/files/FileDescriptor.h"
#include "core/logging/StampedLineFilter.h"
#include "core/text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace velquor {

namespace {

constexpr std::size_t chunkSize = 64 * 1024;

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

// Calls consume with each chunk of the file from offset on; memory stays at one buffer.
void readChunks(int fd, off_t offset, const std::string& path,
                const std::function<void(std::string_view)>& consume) {
    std::vector<char> buffer(chunkSize);
    for (;;) {
        const auto got = ::pread(fd, buffer.data(), buffer.size(), offset);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "reading " + path);
        }
        if (got == 0) {
            return;
        }
        consume(std::string_view(buffer.data(), static_cast<std::size_t>(got)));
        offset += got;
    }
}

// Only a plain file of its own is a log. Through a link, or another name of a hard-linked file,
// even root would write, replace or show a file that is not the log. A FIFO would block the
// service on open or write; a device or a directory is nothing to append to or read back.
void refuseUnlessPlainFile(const struct stat& info, const std::string& what) {
    if (S_ISLNK(info.st_mode)) {
        fail(ELOOP, what + ": symbolic link, which the log never follows");
    }
    if (!S_ISREG(info.st_mode)) {
        fail(EINVAL, what + ": not a regular file");
    }
    if (info.st_nlink > 1) {
        fail(EMLINK, what + ": hard link, a file with more than one name");
    }
}

struct OpenLog {
    FileDescriptor fd;
    struct stat info;
};

// The open file with its status, or nothing when there is none. O_NOFOLLOW refuses a link of any
// kind, even a dangling one; O_NONBLOCK makes the open of a FIFO safe.
std::optional<OpenLog> openLogIfPresent(const std::filesystem::path& path, int flags,
                                        const std::string& action) {
    const auto what = action + " " + path.string();
    FileDescriptor fd(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (!fd.isOpen()) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        const int error = errno;
        struct stat info {};
        // ENXIO: a FIFO that nobody reads.
        if ((error == ELOOP || error == ENXIO) && ::lstat(path.c_str(), &info) == 0) {
            refuseUnlessPlainFile(info, what);
        }
        fail(error, what);
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail(errno, what);
    }
    refuseUnlessPlainFile(info, what);
    return OpenLog{std::move(fd), info};
}

// now moved back by whole calendar days in local time, keeping its sub-second part; nothing
// when the calendar cannot say.
std::optional<std::chrono::system_clock::time_point>
daysBefore(std::chrono::system_clock::time_point now, std::int64_t days) {
    using Clock = std::chrono::system_clock;
    const std::time_t nowSeconds = Clock::to_time_t(now);
    std::tm local{};
    ::localtime_r(&nowSeconds, &local);
    local.tm_mday -= static_cast<int>(std::min<std::int64_t>(days, 1'000'000));
    local.tm_isdst = -1;
    const std::time_t cutoffSeconds = std::mktime(&local);
    if (cutoffSeconds == -1) {
        return std::nullopt;
    }
    return Clock::from_time_t(cutoffSeconds) + (now - Clock::from_time_t(nowSeconds));
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

LogManager::LogManager(std::filesystem::path logURL, std::shared_ptr<LogMirroring> mirror)
    : m_logURL(std::move(logURL)), m_mirror(std::move(mirror)) {}

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
    // The clock counts nanoseconds and ends in 2262; a stamp beyond either end stays in order.
    constexpr auto limit =
        std::chrono::duration_cast<std::chrono::seconds>(Clock::duration::max()).count() - 1;
    if (seconds > limit || seconds < -limit) {
        return seconds > 0 ? Clock::time_point::max() : Clock::time_point::min();
    }
    return Clock::from_time_t(seconds);
}

void LogManager::ensureParentDirectoryExists() const {
    const auto folder = m_logURL.parent_path();
    if (!folder.empty()) {
        createDirectories(folder);
    }
}

std::string LogManager::formatLine(std::string_view message, Clock::time_point date) {
    std::string line = "[" + formatTimestamp(date) + "] ";
    line.append(message);
    line += '\n';
    return line;
}

void LogManager::append(std::string_view message, Clock::time_point date) const {
    if (m_mirror) {
        m_mirror->mirror(message, date);
    }
    ensureParentDirectoryExists();
    const auto line = formatLine(message, date);
    const auto log = openLogIfPresent(m_logURL, O_WRONLY | O_APPEND, "opening");
    if (!log) {
        writeFileAtomically(m_logURL, line);
        return;
    }
    writeAll(log->fd.get(), line, m_logURL.string());
}

std::string LogManager::readRecent(std::int64_t maxBytes) const {
    const auto log = openLogIfPresent(m_logURL, O_RDONLY, "opening");
    if (!log) {
        return "";
    }
    const off_t size = log->info.st_size;
    const off_t start = size > maxBytes ? size - maxBytes : 0;
    std::string bytes;
    readChunks(log->fd.get(), start, m_logURL.string(),
               [&](std::string_view chunk) { bytes.append(chunk); });
    return repairUtf8(bytes);
}

void LogManager::clear() const {
    ensureParentDirectoryExists();
    struct stat info {};
    if (::lstat(m_logURL.c_str(), &info) == 0) {
        refuseUnlessPlainFile(info, "clearing " + m_logURL.string());
    }
    writeFileAtomically(m_logURL, "");
}

void LogManager::prune(std::int64_t retentionDays, Clock::time_point now) const {
    if (retentionDays < 0) {
        return;
    }
    const auto log = openLogIfPresent(m_logURL, O_RDONLY, "opening");
    if (!log) {
        return;
    }
    const auto cutoff = daysBefore(now, retentionDays);
    if (!cutoff) {
        return;
    }
    // Written beside the log with its mode and renamed over it when complete, so a reader sees
    // the old log or the new one.
    AtomicFileWriter replacement(m_logURL);
    StampedLineFilter filter(*cutoff, [&](std::string_view kept) { replacement.write(kept); });
    readChunks(log->fd.get(), 0, m_logURL.string(),
               [&](std::string_view chunk) { filter.feed(chunk); });
    filter.finish();
    replacement.commit();
}

} // namespace velquor
