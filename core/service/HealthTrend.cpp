#include "core/service/HealthTrend.h"

#include "core/logging/LogManager.h"

#include <algorithm>

namespace velquor {
namespace {

std::string counted(std::int64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

HealthTrend::HealthTrend(std::int64_t threshold)
    : m_threshold(std::max<std::int64_t>(threshold, 1)) {}

void HealthTrend::setThreshold(std::int64_t threshold) noexcept {
    m_threshold = std::max<std::int64_t>(threshold, 1);
}

std::optional<HealthTrend::Change> HealthTrend::record(const HealthFindings& findings,
                                                       Clock::time_point checkedAt) {
    if (findings.passed()) {
        const auto failures = m_failures;
        const bool warned = m_warning.has_value();
        reset();
        if (!warned) {
            return std::nullopt;
        }
        return Change{Change::Kind::recovery,
                      "Health checks passing again after " + counted(failures, "failure"),
                      failures};
    }
    if (m_failures++ == 0) {
        m_firstFailureAt = checkedAt;
    }
    if (m_warning) {
        m_warning->failures = m_failures;
        m_warning->findings = findings;
        return std::nullopt;
    }
    if (m_failures < m_threshold) {
        return std::nullopt;
    }
    m_warning = HealthWarning{m_failures, m_firstFailureAt, findings};
    return Change{Change::Kind::warning,
                  "WARNING: Health check failing " + counted(m_failures, "time") +
                      " in a row since " + LogManager::formatTimestamp(m_firstFailureAt) + ": " +
                      findings.text(),
                  m_failures};
}

void HealthTrend::reset() noexcept {
    m_failures = 0;
    m_warning.reset();
}

} // namespace velquor
