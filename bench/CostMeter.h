#pragma once

#include <chrono>
#include <utility>

namespace velquor::bench {

// Wall and processor time of one call. Processor time is the whole bench process's plus that of
// the children it waited for during the call (lsof runs), so that a call that hands its work to
// a helper program is not made to look cheap. Servers the bench talks to run in processes of
// their own and are not counted.
class CostMeter {
public:
    struct Cost {
        double wallMilliseconds = 0;
        double cpuMilliseconds = 0;
    };

    template <typename Call> static Cost measure(Call&& call) {
        const auto cpuBefore = cpuMilliseconds();
        const auto wallBefore = std::chrono::steady_clock::now();
        std::forward<Call>(call)();
        const auto wallAfter = std::chrono::steady_clock::now();
        const auto cpuAfter = cpuMilliseconds();
        return {std::chrono::duration<double, std::milli>(wallAfter - wallBefore).count(),
                cpuAfter - cpuBefore};
    }

private:
    static double cpuMilliseconds();
};

} // namespace velquor::bench
