#pragma once

#include <ostream>
#include <string>

namespace velquor::bench {

// What the command line may change; the defaults are the full run.
struct BenchOptions {
    int runs = 15;
    int idleSeconds = 60;
    int checkIntervalSeconds = 5;
    int perfSeconds = 4;
    int perfRounds = 3;
    // The letters of the measurements to run, a to j.
    std::string only = "abcdefghij";
    bool helpRequested = false;

    // Throws std::invalid_argument for an unknown option or a value out of range.
    static BenchOptions parse(int argc, char** argv);
    static void printUsage(std::ostream& out);
};

} // namespace velquor::bench
