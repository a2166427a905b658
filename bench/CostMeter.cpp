#include "bench/CostMeter.h"

#include <sys/resource.h>

namespace velquor::bench {

namespace {

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

double cpuOf(int who) {
    rusage usage{};
    ::getrusage(who, &usage);
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

} // namespace

double CostMeter::cpuMilliseconds() {
    return cpuOf(RUSAGE_SELF) + cpuOf(RUSAGE_CHILDREN);
}

} // namespace velquor::bench
