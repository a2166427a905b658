#include "VelquorApp/Notifications/ThrottledNotifier.h"

namespace velquor {

ThrottledNotifier::ThrottledNotifier(std::unique_ptr<DesktopNotifying> target, Now now)
    : m_target(std::move(target)), m_now(std::move(now)) {}

void ThrottledNotifier::notify(const DesktopNotification& notification) {
    const auto now = m_now();
    auto& lastShownAt = m_lastShownAt.at(static_cast<std::size_t>(notification.kind));
    if (lastShownAt && now - *lastShownAt < minimumGap) {
        return;
    }
    lastShownAt = now;
    m_target->notify(notification);
}

} // namespace velquor
