#pragma once

#include "core/service/HealthFindings.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace velquor {

// A warning raised because health checks kept failing: shown until the checks pass again or the
// service is started or stopped.
struct HealthWarning {
    std::int64_t failures = 0;
    // When the first failing check of the run happened.
    std::chrono::system_clock::time_point since;
    // What the latest failing check found.
    HealthFindings findings;

    bool operator==(const HealthWarning&) const = default;
};

// Counts consecutive failing health checks against the configured failureThreshold, so that a
// long discovery outage or an unreachable target is reported once instead of being hidden in a
// "WARNING: " line per check, and its end is reported once too.
class HealthTrend {
public:
    using Clock = std::chrono::system_clock;

    struct Change {
        enum class Kind { warning, recovery };
        Kind kind;
        // The line to log: "WARNING: Health check failing ..." or "Health checks passing ...".
        std::string logLine;
        // The failing checks in a row, for the user's message.
        std::int64_t failures;

        bool operator==(const Change&) const = default;
    };

    // A threshold below 1 counts as 1: every failing check would then warn at once.
    explicit HealthTrend(std::int64_t threshold);

    // From the next check on; a run already at the new threshold warns at its next failure.
    void setThreshold(std::int64_t threshold) noexcept;

    // Takes one check's findings; answers the warning when this check reaches the threshold and
    // the recovery when a check passes after a warning, otherwise nothing.
    std::optional<Change> record(const HealthFindings& findings, Clock::time_point checkedAt);

    // A start or stop begins a new run: the count and any warning are dropped without a line.
    void reset() noexcept;

    std::int64_t consecutiveFailures() const noexcept { return m_failures; }
    const std::optional<HealthWarning>& warning() const noexcept { return m_warning; }

private:
    std::int64_t m_threshold;
    std::int64_t m_failures = 0;
    Clock::time_point m_firstFailureAt;
    std::optional<HealthWarning> m_warning;
};

} // namespace velquor
