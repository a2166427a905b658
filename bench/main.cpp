// velquor_bench: Qarvex's figures with the real programs on 127.0.0.1, printed as a markdown
// table. A missed target is reported, never a failure: the exit status only says whether the
// bench itself could run.
#include "bench/BenchOptions.h"
#include "bench/BenchRun.h"
#include "bench/Interruption.h"

#include <csignal>
#include <iostream>
#include <stdexcept>

int main(int argc, char** argv) {
    using namespace velquor::bench;
    BenchOptions options;
    try {
        options = BenchOptions::parse(argc, argv);
    } catch (const std::invalid_argument& error) {
        std::cerr << "velquor_bench: " << error.what() << "\n";
        BenchOptions::printUsage(std::cerr);
        return 2;
    }
    if (options.helpRequested) {
        BenchOptions::printUsage(std::cout);
        return 0;
    }
    Interruption::install();
    // A server that hangs up early must not end the bench.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        BenchRun run(options);
        run.execute();
        run.print(std::cout);
    } catch (const Interruption::Interrupted&) {
        std::cerr << "velquor_bench: interrupted; everything it started has been stopped\n";
        return 130;
    } catch (const std::exception& error) {
        std::cerr << "velquor_bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
