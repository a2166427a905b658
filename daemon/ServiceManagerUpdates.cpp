#include "daemon/ServiceManagerUpdates.h"

#include <algorithm>
#include <ctime>

namespace velquor {
namespace {

// systemd compares it with its own CLOCK_MONOTONIC reading to tell this reload from an older one.
std::string monotonicMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000);
}

} // namespace

ServiceManagerUpdates::ServiceManagerUpdates(ServiceManagerNotifying& manager,
                                             SteadyClock::time_point now)
    : m_manager(manager) {
    if (const auto timeout = manager.watchdogTimeout()) {
        m_pingInterval = std::clamp<std::chrono::milliseconds>(
            std::chrono::duration_cast<std::chrono::milliseconds>(*timeout / 2),
            shortestPingInterval, longestPingInterval);
        m_pingDueAt = now + m_pingInterval;
    }
}

void ServiceManagerUpdates::ready() {
    m_manager.notify("READY=1");
}

void ServiceManagerUpdates::status(const std::string& line) {
    if (line != m_status) {
        m_status = line;
        m_manager.notify("STATUS=" + line);
    }
}

void ServiceManagerUpdates::reloading() {
    m_manager.notify("RELOADING=1\nMONOTONIC_USEC=" + monotonicMicroseconds());
}

void ServiceManagerUpdates::stopping() {
    m_manager.notify("STOPPING=1");
}

void ServiceManagerUpdates::pingIfDue(SteadyClock::time_point now) {
    if (m_pingDueAt && now >= *m_pingDueAt) {
        m_manager.notify("WATCHDOG=1");
        m_pingDueAt = now + m_pingInterval;
    }
}

} // namespace velquor
