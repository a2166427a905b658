#pragma once

#include <chrono>
#include <stdexcept>

namespace velquor::bench {

// Ctrl-C or SIGTERM ends the bench by unwinding, so that every process it started is stopped by
// its owner on the way out instead of being left to run.
class Interruption {
public:
    class Interrupted : public std::runtime_error {
    public:
        Interrupted() : std::runtime_error("interrupted") {}
    };

    static void install();
    static bool requested() noexcept;
    // Throws Interrupted once a signal came.
    static void check();
    // Sleeps, but throws Interrupted soon after a signal instead of finishing the sleep.
    static void sleepFor(std::chrono::microseconds duration);
};

} // namespace velquor::bench
