#include "bench/BenchOptions.h"

#include <charconv>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velquor::bench {

namespace {

int number(std::string_view option, const char* text, int minimum, int maximum) {
    if (text == nullptr) {
        throw std::invalid_argument(std::string(option) + " needs a value");
    }
    const std::string_view value(text);
    int result = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result);
    if (error != std::errc() || end != value.data() + value.size() || result < minimum ||
        result > maximum) {
        throw std::invalid_argument(std::string(option) + " takes a whole number from " +
                                    std::to_string(minimum) + " to " + std::to_string(maximum));
    }
    return result;
}

} // namespace

BenchOptions BenchOptions::parse(int argc, char** argv) {
    BenchOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--help") {
            options.helpRequested = true;
            continue;
        }
        if (option == "--runs") {
            options.runs = number(option, value, 3, 1000);
        } else if (option == "--idle-seconds") {
            options.idleSeconds = number(option, value, 1, 3600);
        } else if (option == "--check-interval") {
            options.checkIntervalSeconds = number(option, value, 5, 3600);
        } else if (option == "--perf-seconds") {
            options.perfSeconds = number(option, value, 2, 60);
        } else if (option == "--perf-rounds") {
            options.perfRounds = number(option, value, 1, 20);
        } else if (option == "--only") {
            if (value == nullptr || std::string_view(value).empty() ||
                std::string_view(value).find_first_not_of("abcdefghij") != std::string_view::npos) {
                throw std::invalid_argument("--only takes letters from a to j, such as ac");
            }
            options.only = value;
        } else {
            throw std::invalid_argument("unknown option " + std::string(option));
        }
        ++i;
    }
    return options;
}

void BenchOptions::printUsage(std::ostream& out) {
    out << "Usage: velquor_bench [--runs N] [--idle-seconds N] [--check-interval N]\n"
           "                     [--perf-seconds N] [--perf-rounds N] [--only LETTERS]\n\n"
           "Measures Qarvex with the real socat, lsof, libcurl, tgtd, iscsi-perf and qarvexd on\n"
           "127.0.0.1 and prints a markdown table. Needs root (tgtd).\n\n"
           "  --runs N            repetitions of each timed call (default 15)\n"
           "  --idle-seconds N    how long qarvexd is watched idle (default 60)\n"
           "  --check-interval N  qarvexd's checkIntervalSeconds meanwhile (default 5)\n"
           "  --perf-seconds N    length of one iscsi-perf run (default 4)\n"
           "  --perf-rounds N     iscsi-perf runs per path, interleaved (default 3)\n"
           "  --only LETTERS      which measurements to run (default abcdefghij): a health check\n"
           "                      against lsof, b start, c target move, d iSCSI throughput,\n"
           "                      e idle qarvexd, f qarvexd healing a killed socat, g qarvexd\n"
           "                      following a moved target after a network change, h qarvexd\n"
           "                      while its socat is killed every 5 s, i qarvexd and qarvex\n"
           "                      finding a moved target at the first connection the old one\n"
           "                      refused, j qarvexd while a client fails 100 times a second\n";
}

} // namespace velquor::bench
