#include "core/system/ResumeDetector.h"

#include <ctime>
#include <utility>

namespace velquor {
namespace {

std::chrono::nanoseconds read(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

} // namespace

ResumeDetector::ResumeDetector(ClockReader readClocks)
    : m_readClocks(std::move(readClocks)), m_suspendedBefore(suspendedTotal()) {}

std::optional<std::chrono::nanoseconds> ResumeDetector::sleptSinceLastLook() {
    const auto suspended = suspendedTotal();
    const auto slept = suspended - std::exchange(m_suspendedBefore, suspended);
    if (slept <= minimumSleep) {
        return std::nullopt;
    }
    return slept;
}

ResumeDetector::ClockPair ResumeDetector::readSystemClocks() {
    return {read(CLOCK_BOOTTIME), read(CLOCK_MONOTONIC)};
}

std::chrono::nanoseconds ResumeDetector::suspendedTotal() const {
    const auto clocks = m_readClocks();
    return clocks.boottime - clocks.monotonic;
}

} // namespace velquor
