#include "core/service/CheckInterval.h"

#include <gtest/gtest.h>

#include <limits>

namespace velquor {
namespace {

using std::chrono::milliseconds;

// Values a hand-edited file can hold, around each bound and where a milliseconds conversion
// or an int timer would wrap.
TEST(CheckIntervalTest, NeverShorterThanConfiguredNorFiveSecondsAndNeverOverflows) {
    constexpr auto int64Max = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t seconds;
        milliseconds wait;
    } cases[] = {
        {std::numeric_limits<std::int64_t>::min(), milliseconds(5'000)},
        {-1, milliseconds(5'000)},
        {0, milliseconds(5'000)},
        {5, milliseconds(5'000)},
        {6, milliseconds(6'000)},
        {60, milliseconds(60'000)},
        {2'147'482, milliseconds(2'147'482'000)},
        {2'147'483, CheckInterval::longest},
        {2'147'484, CheckInterval::longest},
        {4'294'968, CheckInterval::longest},
        {10'000'000'000, CheckInterval::longest},
        {int64Max / 1000 + 1, CheckInterval::longest},
        {int64Max, CheckInterval::longest},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CheckInterval::waitFor(row.seconds), row.wait) << row.seconds;
    }
}

} // namespace
} // namespace velquor
