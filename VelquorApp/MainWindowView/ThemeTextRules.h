#pragma once

#include "core/config/ForwarderConfig.h"

#include <QString>

namespace velquor {

// The small text rules the pages share.
class ThemeTextRules {
public:
    // Values that hold a ":" (addresses, URLs) are shown fixed-pitch.
    static bool isMonospacedValue(const QString& value);
    // Status values also when they carry a "PID".
    static bool isMonospacedStatusValue(const QString& value);
    // The forwarding process as the user sees it: the forwarder is not called socat.
    static QString forwardingProcessText(const QString& socatRuntimeText);
    static QString listenAddressText(const ForwarderConfig& config);
};

} // namespace velquor
