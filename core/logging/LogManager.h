#pragma once

#include "core/logging/LogMirroring.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// Owns the one log file: lines "[yyyy-MM-dd HH:mm:ss] message" in the process's local time.
// Every call opens and closes the file; no handle, buffer or cache is kept between calls. Only a
// regular file with one name is the log: every call refuses a symbolic link (dangling or not), a
// hard link, a FIFO, a device or a folder at the path, leaving it as it is.
class LogManager {
public:
    using Clock = std::chrono::system_clock;

    // mirror, when given, also gets each appended line (qarvexd's copy on standard error).
    explicit LogManager(std::filesystem::path logURL,
                        std::shared_ptr<LogMirroring> mirror = nullptr);

    const std::filesystem::path& logURL() const noexcept { return m_logURL; }

    // Adds one line at the end; what is there is never rewritten. Throws std::system_error.
    void append(std::string_view message, Clock::time_point date) const;

    // The last maxBytes of the file, with a character cut at the start replaced; "" when the
    // file is missing. Reads only the tail, however large the file is.
    std::string readRecent(std::int64_t maxBytes) const;

    // Leaves an empty file.
    void clear() const;

    // Drops stamped lines older than retentionDays calendar days before now; unstamped lines,
    // bytes of any kind and the final line break stay. Negative retention does nothing. Streams
    // the file into its replacement in bounded memory, however long the file or a line is.
    void prune(std::int64_t retentionDays, Clock::time_point now) const;

    static std::string formatTimestamp(Clock::time_point date);
    // One line of the log as the file holds it: "[", the time stamp, "] ", the message, "\n".
    static std::string formatLine(std::string_view message, Clock::time_point date);
    static std::optional<Clock::time_point> parseBracketTimestamp(std::string_view line);

private:
    void ensureParentDirectoryExists() const;

    std::filesystem::path m_logURL;
    std::shared_ptr<LogMirroring> m_mirror;
};

} // namespace velquor
