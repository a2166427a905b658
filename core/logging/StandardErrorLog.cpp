#include "core/logging/StandardErrorLog.h"

#include "core/files/AtomicFile.h"
#include "core/logging/LogManager.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace velquor {
namespace {

// The documented test: the stream is the journal's only while the descriptor is the very file
// systemd connected, not one a wrapper put in its place.
bool isJournalStream(int descriptor, const char* journalStream) {
    struct stat info {};
    if (!journalStream || ::fstat(descriptor, &info) != 0) {
        return false;
    }
    return std::string_view(journalStream) ==
           std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
}

std::string_view syslogPriority(std::string_view message) {
    if (message.starts_with("ERROR: ")) {
        return "<3>";
    }
    return message.starts_with("WARNING: ") ? "<4>" : "<6>";
}

} // namespace

StandardErrorLog::StandardErrorLog(int descriptor, const char* journalStream)
    : m_descriptor(descriptor), m_journal(isJournalStream(descriptor, journalStream)) {}

StandardErrorLog::StandardErrorLog()
    : StandardErrorLog(STDERR_FILENO, std::getenv("JOURNAL_STREAM")) {}

std::string StandardErrorLog::format(std::string_view message,
                                     std::chrono::system_clock::time_point date) const {
    if (!m_journal) {
        return LogManager::formatLine(message, date);
    }
    // The journal makes a record of each line: every one carries the priority of the message.
    const auto priority = syslogPriority(message);
    std::string text;
    for (std::size_t start = 0; start <= message.size();) {
        const auto end = std::min(message.find('\n', start), message.size());
        text.append(priority).append(message.substr(start, end - start)).append("\n");
        start = end + 1;
    }
    return text;
}

void StandardErrorLog::mirror(std::string_view message,
                              std::chrono::system_clock::time_point date) noexcept {
    try {
        // Formatted whole first: socat writes to the same stream, and written at once a
        // message is not cut by its lines.
        writeAll(m_descriptor, format(message, date), "standard error");
    } catch (const std::exception&) {
        // The log file still has the line.
    }
}

void StandardErrorLog::relay(std::string_view line, int priority) noexcept {
    try {
        const auto prefix = m_journal ? "<" + std::to_string(priority) + ">" : std::string();
        writeAll(m_descriptor, prefix + std::string(line) + "\n", "standard error");
    } catch (const std::exception&) {
        // Lost like any line socat writes to a stream that cannot take it.
    }
}

} // namespace velquor
