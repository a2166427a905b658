#include "core/net/PlainHost.h"

#include "tests/support/HostileHosts.h"

#include <gtest/gtest.h>

#include <vector>

namespace velquor {
namespace {

TEST(PlainHost, AcceptsNamesIPv4AndBracketedIPv6Only) {
    for (const std::string& host : std::vector<std::string>{
             "10.0.0.5", "target.example", "my_host-1.example", "h", "H.EXAMPLE.", "[::1]",
             "[fe80::1]", "[::ffff:10.0.0.5]", std::string(63, 'a') + "." + std::string(63, 'b'),
             std::string(253, 'a').replace(63, 1, ".").replace(127, 1, ".").replace(191, 1, ".")}) {
        EXPECT_TRUE(isPlainHost(host)) << host;
    }
    for (const auto& host : test::hostileHosts()) {
        EXPECT_FALSE(isPlainHost(host)) << host;
    }
    EXPECT_FALSE(isPlainHost(""));
}

TEST(PlainHost, TellsLoopbackAndWildcardAddressesInEverySpelling) {
    for (const char* host : {"127.0.0.1", "127.1", "127.255.0.9", "2130706433", "0x7f.1", "0.0.0.0",
                             "0", "[::1]", "[::]", "[::ffff:127.0.0.2]", "[::ffff:0.0.0.0]",
                             "localhost", "LOCALHOST.", "ip6-localhost", "a.localhost"}) {
        EXPECT_TRUE(isLoopbackOrWildcard(host)) << host;
    }
    for (const char* host : {"10.0.0.5", "128.0.0.1", "[::2]", "[fe80::1]", "localhost.example",
                             "notlocalhost", "target.example"}) {
        EXPECT_FALSE(isLoopbackOrWildcard(host)) << host;
    }
}

TEST(PlainHost, SameHostIgnoresSpellingButNeverResolves) {
    const std::pair<const char*, const char*> same[] = {
        {"10.0.0.5", "10.0.0.5"},
        {"10.0.0.5", "10.0.5"},
        {"10.0.0.5", "[::ffff:10.0.0.5]"},
        {"[fe80::1]", "[FE80:0::1]"},
        {"Target.Example", "target.example."},
    };
    for (const auto& [first, second] : same) {
        EXPECT_TRUE(isSameHost(first, second)) << first << " " << second;
    }
    const std::pair<const char*, const char*> different[] = {
        {"10.0.0.5", "10.0.0.6"}, {"10.0.0.5", "target.example"}, {"a.example", "b.example"}};
    for (const auto& [first, second] : different) {
        EXPECT_FALSE(isSameHost(first, second)) << first << " " << second;
    }
}

} // namespace
} // namespace velquor
