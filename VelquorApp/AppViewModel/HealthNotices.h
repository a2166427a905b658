#pragma once

#include "VelquorApp/Notifications/DesktopNotifying.h"
#include "core/service/ServiceSnapshot.h"

#include <memory>
#include <optional>

namespace velquor {

// Decides which snapshots are worth a desktop notification: a warning raised or ended by the
// health checks, a start that failed and a target that moved. Snapshots come in the order the
// controller produced them; the user's switch in the configuration silences all of them.
class HealthNotices {
public:
    // What produced the snapshot: only a start (or restart) can fail to start.
    enum class Cause { start, other };

    // Without a notifier nothing is shown.
    explicit HealthNotices(std::unique_ptr<DesktopNotifying> notifier);

    void take(const ServiceSnapshot& snapshot, Cause cause);

private:
    std::unique_ptr<DesktopNotifying> m_notifier;
    std::optional<TargetEndpoint> m_lastTarget;
};

} // namespace velquor
