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
TEST(SocatCommand, ListensOnAnIPv6HostInBracketsOverIPv6) {
    for (const char* host : {"[::1]", "::1"}) {
        const SocatCommand ipv6("/s", host, 18082, TargetEndpoint("[fe80::1]", 3260));
        EXPECT_THAT(ipv6.arguments, ElementsAre("TCP-LISTEN:18082,bind=[::1],pf=ip6,reuseaddr,fork",
                                                "TCP:[fe80::1]:3260,nodelay,keepalive"));
    }
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
                  host == "::1" ? "" : ConfigError::invalidListenHost(host).what());
        EXPECT_EQ(refusal("127.0.0.1", 18082, stored(host, 3260)),
                  TargetError::invalidHost(host).what());
    }
    EXPECT_EQ(refusal("", 18082, TargetEndpoint("10.0.0.5", 3260)), R"(invalidListenHost(""))");
    EXPECT_EQ(refusal("127.0.0.1", 18082, stored("", 0)), "emptyHost");
    EXPECT_EQ(refusal("127.0.0.1", 18082, stored("h", 0)), "invalidPort(0)");
}

} // namespace
} // namespace velquor
