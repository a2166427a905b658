#include "core/forwarding/ProcForwarderOwnershipChecker.h"

#include "core/forwarding/NetworkPortChecker.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "tests/support/ChildProcessGuard.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace velquor {
namespace {

TEST(ProcForwarderOwnershipChecker, OwnsOnlyASocatHoldingTheAddressAndOnlyWhileItIsTheSame) {
    const auto port = test::freeTcpPort();
    test::ChildProcessGuard socat(PosixSocatProcessLauncher().launch(
        SocatCommand("/usr/bin/socat", "127.0.0.1", port, TargetEndpoint("127.0.0.1", 9))));
    ASSERT_TRUE(
        test::waitUntil([&] { return NetworkPortChecker().isListening("127.0.0.1", port); }));
    const test::LoopbackListener ours; // held by this test program, which is not socat

    const std::vector<std::tuple<std::int32_t, std::string, std::int64_t, bool>> cases = {
        {socat.pid(), "127.0.0.1", port, true},
        {socat.pid(), "localhost", port, true},
        {socat.pid(), "0.0.0.0", port, true}, // a wildcard listen host covers every address
        {socat.pid(), "[::]", port, true},
        {socat.pid(), "127.0.0.2", port, false},
        {socat.pid(), "::1", port, false},
        {socat.pid(), "127.0.0.1", test::freeTcpPort(), false},
        {socat.pid(), "", port, false},
        {static_cast<std::int32_t>(::getpid()), "127.0.0.1", ours.port(), false},
        {0, "127.0.0.1", port, false},
        {-1, "127.0.0.1", port, false},
    };
    ProcForwarderOwnershipChecker checker;
    for (const auto& [pid, host, onPort, owned] : cases) {
        SCOPED_TRACE(std::to_string(pid) + " " + host + ":" + std::to_string(onPort));
        const auto identity = checker.forwarderIdentity(pid, host, onPort);
        EXPECT_EQ(identity.has_value(), owned);
        EXPECT_TRUE(!identity || identity->processIdentifier == pid);
    }

    const auto identity = checker.forwarderIdentity(socat.pid(), "127.0.0.1", port);
    ASSERT_TRUE(identity);
    EXPECT_TRUE(checker.isStillForwarder(*identity));
    // What a reused identifier looks like: the same number, another start time.
    EXPECT_FALSE(checker.isStillForwarder({identity->processIdentifier, identity->startTime + 1}));
    socat->terminate();
    ASSERT_TRUE(test::waitUntil([&] { return !socat->isRunning(); }));
    EXPECT_FALSE(checker.isStillForwarder(*identity));
}

} // namespace
} // namespace velquor
