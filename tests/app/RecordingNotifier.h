#pragma once

#include "VelquorApp/Notifications/DesktopNotifying.h"

#include <vector>

namespace velquor::test {

// Keeps what would have been shown, in a list the test owns.
class RecordingNotifier : public DesktopNotifying {
public:
    explicit RecordingNotifier(std::vector<DesktopNotification>& shown) : m_shown(shown) {}
    void notify(const DesktopNotification& notification) override {
        m_shown.push_back(notification);
    }

private:
    std::vector<DesktopNotification>& m_shown;
};

} // namespace velquor::test
