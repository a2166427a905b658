#include "core/forwarding/SocatCommand.h"

#include "core/config/ForwarderConfig.h"
#include "tests/support/HostileHosts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace velquor {
namespace {

using ::testing::ElementsAre;
using ConfigError = ForwarderConfig::ValidationError;
using TargetError = TargetEndpoint::ValidationError;

// The error's text form, which names its case and payload; "" when the command is built.
std::string refusal(const std::string& listenHost, std::int64_t listenPort,
                    const TargetEndpoint& target) {
    try {
        SocatCommand("/s", listenHost, listenPort, target);
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

TargetEndpoint stored(const std::string& host, std::int64_t port) {
    return TargetEndpoint::fromJson({{"host", host}, {"port", port}});
}

// socat 1.7 reads an IPv6 literal only in brackets, and listens on IPv4 unless told.
TEST(SocatCommand, ListensOnABracketedIPv6HostOverIPv6) {
    const SocatCommand ipv6("/s", "[::1]", 18082, TargetEndpoint("[fe80::1]", 3260));
    EXPECT_THAT(ipv6.arguments, ElementsAre("TCP-LISTEN:18082,bind=[::1],pf=ip6,reuseaddr,fork",
                                            "TCP:[fe80::1]:3260,nodelay,keepalive"));
}

// The last gate: whatever a file or an answer holds never becomes part of an argument.
TEST(SocatCommand, RefusesPrivilegedPortsHostsThatAreNotPlainAndUncheckedTargets) {
    EXPECT_EQ(refusal("h", 65535, TargetEndpoint("h", 3260)), "");
    for (const std::int64_t port : {1023L, -1L, 65536L}) {
        EXPECT_EQ(refusal("h", port, TargetEndpoint("h", 3260)),
                  ConfigError::invalidListenPort(port).what());
    }
    for (const auto& host : test::hostileHosts()) {
        EXPECT_EQ(refusal(host, 18082, TargetEndpoint("10.0.0.5", 3260)),
                  ConfigError::invalidListenHost(host).what());
        EXPECT_EQ(refusal("127.0.0.1", 18082, stored(host, 3260)),
                  TargetError::invalidHost(host).what());
    }
    EXPECT_EQ(refusal("", 18082, TargetEndpoint("10.0.0.5", 3260)), R"(invalidListenHost(""))");
    EXPECT_EQ(refusal("127.0.0.1", 18082, stored("", 0)), "emptyHost");
    EXPECT_EQ(refusal("127.0.0.1", 18082, stored("h", 0)), "invalidPort(0)");
}

// Forwarding to its own listener makes socat fork a relay per relay until no process is left.
TEST(SocatCommand, RefusesATargetThatIsTheListenAddress) {
    const std::pair<const char*, const char*> selves[] = {
        {"127.0.0.1", "127.0.0.1"},
        {"127.0.0.1", "localhost"},
        {"127.0.0.1", "LOCALHOST."},
        {"127.0.0.1", "a.localhost"},
        {"127.0.0.1", "127.0.0.2"},
        {"127.0.0.1", "127.1"},
        {"127.0.0.1", "2130706433"},
        {"127.0.0.1", "0x7f.1"},
        {"127.0.0.1", "0.0.0.0"},
        {"0.0.0.0", "127.0.0.1"},
        {"192.168.1.5", "192.168.1.5"},
        {"192.168.1.5", "[::ffff:192.168.1.5]"},
        {"Host.Example", "host.example."},
        {"[::1]", "[::1]"},
        {"[fe80::1]", "[FE80:0::1]"},
        {"[::]", "[::ffff:127.0.0.1]"},
        {"localhost", "[::]"},
        {"localhost", "[::ffff:0.0.0.0]"},
    };
    for (const auto& [listenHost, targetHost] : selves) {
        EXPECT_EQ(refusal(listenHost, 18082, TargetEndpoint(targetHost, 18082)),
                  ConfigError::targetIsListenAddress(targetHost, 18082).what());
    }
    EXPECT_STREQ(ConfigError::targetIsListenAddress("localhost", 18082).what(),
                 R"(targetIsListenAddress(host: "localhost", port: 18082))");
    const std::tuple<const char*, const char*, std::int64_t> others[] = {
        {"127.0.0.1", "127.0.0.1", 18083}, // another port of this machine
        {"0.0.0.0", "10.0.0.5", 18082},    // the same port of another machine
        {"127.0.0.1", "128.0.0.1", 18082}, {"192.168.1.5", "192.168.1.6", 18082},
        {"[::1]", "[fe80::1]", 18082},     {"localhost", "localhost.example", 18082},
    };
    for (const auto& [listenHost, targetHost, port] : others) {
        EXPECT_EQ(refusal(listenHost, 18082, TargetEndpoint(targetHost, port)), "")
            << listenHost << " -> " << targetHost << ":" << port;
    }
}

} // namespace
} // namespace velquor
