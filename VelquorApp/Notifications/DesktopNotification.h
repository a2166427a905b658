#pragma once

#include "core/config/TargetEndpoint.h"
#include "core/service/HealthTrend.h"

#include <QString>

#include <cstdint>

namespace velquor {

// One message for the desktop's notification area, in the language of the user interface.
struct DesktopNotification {
    // Each kind is throttled on its own.
    enum class Kind { warning, recovery, startFailed, targetMoved };

    Kind kind;
    QString title;
    QString body;

    // Health checks kept failing. The body also serves as the warning line of the window and
    // the tray.
    static DesktopNotification warning(const HealthWarning& warning);
    static DesktopNotification recovery(std::int64_t failures);
    // The forwarder could not be started (port held by another program, socat missing, ...).
    static DesktopNotification startFailed(const QString& errorText);
    static DesktopNotification targetMoved(const TargetEndpoint& from, const TargetEndpoint& to);

    bool operator==(const DesktopNotification&) const = default;
};

} // namespace velquor
