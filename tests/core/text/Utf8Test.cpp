#include "core/text/Utf8.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

TEST(Utf8, RefusesOverlongSurrogateTruncatedAndOutOfRangeSequences) {
    EXPECT_TRUE(isValidUtf8("ascii 日本 \xF0\x9F\x98\x80"));
    for (const char* bad : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xE6\x97",
                            "\xF4\x90\x80\x80", "\xFF", "\x80"}) {
        EXPECT_FALSE(isValidUtf8(bad)) << ::testing::PrintToString(std::string(bad));
    }
}

TEST(Utf8, RepairReplacesEachByteOfASequenceCutAtTheEnd) {
    EXPECT_EQ(repairUtf8("x\xE6\x97"), "x\xEF\xBF\xBD\xEF\xBF\xBD");
}

} // namespace
} // namespace velquor
