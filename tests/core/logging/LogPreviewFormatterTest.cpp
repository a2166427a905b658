#include "core/logging/LogPreviewFormatter.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

TEST(LogPreviewFormatter, ShowsNewestFirstAndSkipsEmptyLinesButNotBlankOnes) {
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n\nc\n", 500), "c\nb\na");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\n \nc", 500), "c\n \na");
    EXPECT_EQ(LogPreviewFormatter::displayText("", 500), "");
    EXPECT_EQ(LogPreviewFormatter::displayText("\n\n", 500), "");
}

TEST(LogPreviewFormatter, PutsANoticeAboveACutPreview) {
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n\nc\n", 2),
              "仅显示最近 2 行，完整日志请点击“打开目录”查看。\nc\nb");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n", 0),
              "仅显示最近 1 行，完整日志请点击“打开目录”查看。\nb");
    EXPECT_EQ(LogPreviewFormatter::displayText("a\nb\n", 2), "b\na") << "exactly at the limit";
}

} // namespace
} // namespace velquor
