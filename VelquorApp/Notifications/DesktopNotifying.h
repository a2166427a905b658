#pragma once

#include "VelquorApp/Notifications/DesktopNotification.h"

namespace velquor {

// Shows a message outside the window without ever blocking: nothing waits for the user.
class DesktopNotifying {
public:
    virtual ~DesktopNotifying() = default;
    virtual void notify(const DesktopNotification& notification) = 0;
};

} // namespace velquor
