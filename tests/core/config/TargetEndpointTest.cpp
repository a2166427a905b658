#include "core/config/TargetEndpoint.h"

#include <gtest/gtest.h>

namespace velquor {
namespace {

using Error = TargetEndpoint::ValidationError;

TEST(TargetEndpoint, TrimsUnicodeWhitespaceAndLineBreaksAroundTheHost) {
    const TargetEndpoint target(" \t10.0.0.5\xE3\x80\x80\n", 3260);
    EXPECT_EQ(target.host(), "10.0.0.5");
    EXPECT_EQ(target.text(), "10.0.0.5:3260");
}

TEST(TargetEndpoint, ChecksTheHostBeforeThePort) {
    try {
        TargetEndpoint("  \n", 0);
        FAIL() << "accepted a blank host";
    } catch (const Error& error) {
        EXPECT_EQ(error, Error::emptyHost());
        EXPECT_STREQ(error.what(), "emptyHost");
    }
}

TEST(TargetEndpoint, AcceptsPortsOneToMaximumOnly) {
    EXPECT_NO_THROW(TargetEndpoint("h", 1));
    EXPECT_NO_THROW(TargetEndpoint("h", 65535));
    for (const std::int64_t port : {0L, -1L, 65536L}) {
        try {
            TargetEndpoint("h", port);
            FAIL() << "accepted port " << port;
        } catch (const Error& error) {
            EXPECT_EQ(error, Error::invalidPort(port));
            EXPECT_EQ(error.what(), "invalidPort(" + std::to_string(port) + ")");
        }
    }
}

} // namespace
} // namespace velquor
