#include "VelquorApp/AppViewModel/HealthNotices.h"

#include <vector>

namespace velquor {

HealthNotices::HealthNotices(std::unique_ptr<DesktopNotifying> notifier)
    : m_notifier(std::move(notifier)) {}

void HealthNotices::take(const ServiceSnapshot& snapshot, Cause cause) {
    std::vector<DesktopNotification> notices;
    if (snapshot.healthChange) {
        if (snapshot.healthChange->kind == HealthTrend::Change::Kind::warning) {
            if (snapshot.healthWarning) {
                notices.push_back(DesktopNotification::warning(*snapshot.healthWarning));
            }
        } else {
            notices.push_back(DesktopNotification::recovery(snapshot.healthChange->failures));
        }
    }
    if (cause == Cause::start && snapshot.status == ServiceStatus::failed) {
        notices.push_back(DesktopNotification::startFailed(
            QString::fromStdString(snapshot.lastError.value_or(std::string()))));
    }
    // Remembered also while silenced, so that switching on later does not report an old move.
    if (snapshot.currentTarget) {
        if (m_lastTarget && *m_lastTarget != *snapshot.currentTarget) {
            notices.push_back(
                DesktopNotification::targetMoved(*m_lastTarget, *snapshot.currentTarget));
        }
        m_lastTarget = snapshot.currentTarget;
    }
    if (!m_notifier || !snapshot.config.desktopNotifications) {
        return;
    }
    for (const auto& notice : notices) {
        m_notifier->notify(notice);
    }
}

} // namespace velquor
