#include "core/system/ResumeDetector.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

using namespace std::chrono_literals;

struct Look {
    // Seconds each clock advanced since the previous reading.
    std::chrono::seconds boottime;
    std::chrono::seconds monotonic;
    std::optional<std::chrono::nanoseconds> slept;
};

TEST(ResumeDetector, ReportsEachSleepLongerThanTheMinimumOnce) {
    const std::vector<Look> looks = {
        {60s, 60s, std::nullopt}, // awake
        {3660s, 60s, 3600s},      // slept an hour
        {5s, 5s, std::nullopt},   // the same sleep is not reported twice
        {2s, 0s, std::nullopt},   // too short to matter, and forgotten
        {2s, 0s, std::nullopt},   {13s, 10s, 3s},
    };
    ResumeDetector::ClockPair clocks{100s, 40s};
    ResumeDetector detector([&clocks] { return clocks; });
    for (std::size_t index = 0; index < looks.size(); ++index) {
        clocks.boottime += looks[index].boottime;
        clocks.monotonic += looks[index].monotonic;
        EXPECT_EQ(detector.sleptSinceLastLook(), looks[index].slept) << "look " << index;
    }
}

TEST(ResumeDetector, ReadsTheSystemsClocksWithoutReportingASleep) {
    ResumeDetector detector;
    EXPECT_EQ(detector.sleptSinceLastLook(), std::nullopt);
}

} // namespace
} // namespace velquor
