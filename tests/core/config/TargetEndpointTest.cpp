#include "core/config/TargetEndpoint.h"

#include "tests/support/HostileHosts.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <vector>

namespace velquor {
namespace {

using Error = TargetEndpoint::ValidationError;

template <typename Action> void expectError(Action action, const Error& expected) {
    try {
        action();
        ADD_FAILURE() << "accepted, expected " << expected.what();
    } catch (const Error& error) {
        EXPECT_EQ(error, expected);
        EXPECT_STREQ(error.what(), expected.what());
    }
}

TEST(TargetEndpoint, TrimsUnicodeWhitespaceAndLineBreaksAroundTheHost) {
    const TargetEndpoint target(" \t10.0.0.5\xE3\x80\x80\n", 3260);
    EXPECT_EQ(target.host(), "10.0.0.5");
    EXPECT_EQ(target.text(), "10.0.0.5:3260");
}

TEST(TargetEndpoint, ChecksTheHostBeforeThePortAndNamesTheCase) {
    const std::tuple<std::string, std::int64_t, Error, const char*> cases[] = {
        {"  \n", 0, Error::emptyHost(), "emptyHost"},
        {" a,b ", 0, Error::invalidHost("a,b"), R"(invalidHost("a,b"))"},
        {std::string("h\0,fork", 7), 1, Error::invalidHost(std::string("h\0,fork", 7)),
         R"(invalidHost("h\u{0},fork"))"},
        {"h", 0, Error::invalidPort(0), "invalidPort(0)"},
        {"h", -1, Error::invalidPort(-1), "invalidPort(-1)"},
        {"h", 65536, Error::invalidPort(65536), "invalidPort(65536)"},
    };
    for (const auto& [host, port, error, text] : cases) {
        expectError([&] { TargetEndpoint(host, port); }, error);
        EXPECT_STREQ(error.what(), text);
    }
    EXPECT_NO_THROW(TargetEndpoint("h", 1));
    EXPECT_NO_THROW(TargetEndpoint("h", 65535));
}

TEST(TargetEndpoint, AcceptsNamesIPv4AndBracketedIPv6Literals) {
    for (const std::string& host : std::vector<std::string>{
             "10.0.0.5", "my_host-1.example", "H.EXAMPLE.", "[::1]", "[::ffff:10.0.0.5]",
             std::string(63, 'a') + "." + std::string(63, 'b'),
             std::string(253, 'a').replace(63, 1, ".").replace(127, 1, ".").replace(191, 1, ".")}) {
        EXPECT_NO_THROW(TargetEndpoint(host, 3260)) << host;
    }
}

// Decoding takes a stored target as it stands; validated() is how every user checks it.
TEST(TargetEndpoint, HostileHostsAreRefusedBuiltOrDecoded) {
    for (const auto& host : test::hostileHosts()) {
        expectError([&] { TargetEndpoint(host, 3260); }, Error::invalidHost(host));
        const auto stored = TargetEndpoint::fromJson({{"host", host}, {"port", 3260}});
        EXPECT_EQ(stored.host(), host);
        expectError([&] { (void)stored.validated(); }, Error::invalidHost(host));
    }
    const auto stored = TargetEndpoint::fromJson({{"host", "10.0.0.5"}, {"port", 3260}});
    EXPECT_EQ(stored.validated(), stored);
}

} // namespace
} // namespace velquor
