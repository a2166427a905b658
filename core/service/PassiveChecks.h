#pragma once

#include "core/forwarding/SocatMessage.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velquor {

// Turns the connections socat failed to make into early health checks and warnings, whatever
// the client does: a failed connection means the target may have moved, so the check runs at
// once, but no sooner than checkFloor after the last health check of any kind ended; and the log
// names each failure (target and reason) at once, then at most once per warningWindow, with the
// failures in between counted.
class PassiveChecks {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds checkFloor{5};
    static constexpr std::chrono::seconds warningWindow{60};
    // Distinct target-and-reason pairs warned of at a time; failures of another one are not
    // warned of until a place is free, but still bring early checks.
    static constexpr std::size_t warningKinds = 16;

    struct Due {
        // In order: warnings, then "Health check early: connection to … failed: …".
        std::vector<std::string> lines;
        bool check = false;

        bool operator==(const Due&) const = default;
    };

    void failed(const ConnectFailure& failure, Clock::time_point at);
    // A health check ended: a failure seen before or during it waits for the floor from now, so
    // a slow check or one asked for by something else leaves no room for another right after.
    void checked(Clock::time_point at);

    // When takeDue has something; nothing while no failure waits.
    std::optional<Clock::time_point> dueAt() const;
    Due takeDue(Clock::time_point now);

private:
    struct Warning {
        ConnectFailure failure;
        Clock::time_point windowEnds;
        std::int64_t unreported = 0;
        bool announced = false;
    };

    std::vector<Warning> m_warnings;
    std::optional<ConnectFailure> m_checkFor;
    Clock::time_point m_checkDue;
    std::optional<Clock::time_point> m_lastCheck;
};

} // namespace velquor
