#pragma once

#include <chrono>
#include <string_view>

namespace velquor {

// Takes every line the log is given, before the file is written, so that a line reaches it
// even when the file cannot be written.
class LogMirroring {
public:
    virtual ~LogMirroring() = default;
    virtual void mirror(std::string_view message,
                        std::chrono::system_clock::time_point date) noexcept = 0;
};

} // namespace velquor
