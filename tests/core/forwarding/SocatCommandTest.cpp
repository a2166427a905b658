#include "core/forwarding/SocatCommand.h"

#include "core/config/ForwarderConfig.h"
#include "core/forwarding/ListenerProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace velquor {
namespace {

using ::testing::ElementsAre;

TEST(SocatCommand, ListensOnTheHostAndPortAndRelaysToTheTargetVerbatim) {
    const SocatCommand command("/usr/bin/socat", "127.0.0.1", 18082,
                               TargetEndpoint("10.0.0.5", 3260));
    EXPECT_EQ(command.executableURL, "/usr/bin/socat");
    EXPECT_THAT(command.arguments, ElementsAre("TCP-LISTEN:18082,bind=127.0.0.1,reuseaddr,fork",
                                               "TCP:10.0.0.5:3260,nodelay,keepalive"));

    const SocatCommand ipv6("/s", "::1", 18082, TargetEndpoint("fe80::1", 3260));
    EXPECT_THAT(ipv6.arguments, ElementsAre("TCP-LISTEN:18082,bind=::1,reuseaddr,fork",
                                            "TCP:fe80::1:3260,nodelay,keepalive"));
    // A stored target is not validated; it is still passed as it stands.
    const auto stored = TargetEndpoint::fromJson({{"host", ""}, {"port", 0}});
    EXPECT_EQ(SocatCommand("/s", "h", 1024, stored).arguments.at(1), "TCP::0,nodelay,keepalive");
}

TEST(SocatCommand, RefusesListenPortsOutsideTheUnprivilegedRange) {
    const TargetEndpoint target("h", 3260);
    EXPECT_NO_THROW(SocatCommand("/s", "h", 65535, target));
    for (const std::int64_t port : {1023L, -1L, 65536L}) {
        try {
            SocatCommand("/s", "h", port, target);
            FAIL() << "accepted port " << port;
        } catch (const ForwarderConfig::ValidationError& error) {
            EXPECT_EQ(error, ForwarderConfig::ValidationError::invalidListenPort(port));
        }
    }
}

TEST(ListenerProcess, IsSocatWhenTheNameContainsSocatInAnyCase) {
    for (const char* name : {"socat", "SOCAT", "Socat2", "xsocatx"}) {
        EXPECT_TRUE((ListenerProcess{name, 1}.isSocat())) << name;
    }
    for (const char* name : {"", "soca", "so cat", "python3"}) {
        EXPECT_FALSE((ListenerProcess{name, 1}.isSocat())) << name;
    }
}

} // namespace
} // namespace velquor
