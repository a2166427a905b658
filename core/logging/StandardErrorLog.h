#pragma once

#include "core/logging/LogMirroring.h"

#include <string>
#include <string_view>

namespace velquor {

// The log's lines on a descriptor (standard error). When that descriptor is the journal, as
// JOURNAL_STREAM says ("<device>:<inode>" of it), each line starts with its syslog priority
// ("<3>" for "ERROR: " lines, "<4>" for "WARNING: " lines, "<6>" for the others) and carries no
// time stamp, which the journal adds; anywhere else the lines are written as the log file has
// them. A line that cannot be written is dropped: this copy never stops the service.
class StandardErrorLog : public LogMirroring {
public:
    // journalStream: the value of JOURNAL_STREAM, or null when it is not set.
    StandardErrorLog(int descriptor, const char* journalStream);
    // Standard error, with JOURNAL_STREAM from the environment.
    StandardErrorLog();

    bool isJournal() const noexcept { return m_journal; }

    void mirror(std::string_view message,
                std::chrono::system_clock::time_point date) noexcept override;

    // A line of another program (socat) as it stands; in the journal, given the syslog priority
    // it is to have.
    void relay(std::string_view line, int priority) noexcept;

private:
    std::string format(std::string_view message, std::chrono::system_clock::time_point date) const;

    int m_descriptor;
    bool m_journal;
};

} // namespace velquor
