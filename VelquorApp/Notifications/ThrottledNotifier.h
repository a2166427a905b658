#pragma once

#include "VelquorApp/Notifications/DesktopNotifying.h"

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace velquor {

// Passes at most one notification of each kind per minute on to the desktop, so that a
// flapping network does not bury the user in messages; the log keeps every event.
class ThrottledNotifier : public DesktopNotifying {
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    static constexpr std::chrono::minutes minimumGap{1};

    explicit ThrottledNotifier(std::unique_ptr<DesktopNotifying> target, Now now = Clock::now);

    void notify(const DesktopNotification& notification) override;

private:
    std::unique_ptr<DesktopNotifying> m_target;
    Now m_now;
    std::array<std::optional<Clock::time_point>, 4> m_lastShownAt;
};

} // namespace velquor
