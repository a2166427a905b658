#include "core/forwarding/NetworkPortChecker.h"

#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"

#include <gtest/gtest.h>

#include <chrono>

namespace velquor {
namespace {

using Clock = std::chrono::steady_clock;

TEST(NetworkPortChecker, SeesAListenerAndAnswersARefusalAtOnce) {
    const test::LoopbackListener listener;
    NetworkPortChecker checker;
    EXPECT_TRUE(checker.isListening("127.0.0.1", listener.port()));
    // localhost may resolve to ::1 first, which refuses: the next address must still be tried.
    EXPECT_TRUE(checker.isListening("localhost", listener.port()));

    const auto start = Clock::now();
    EXPECT_FALSE(checker.isListening("localhost", test::freeTcpPort()));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_FALSE(checker.isListening("127.0.0.1", 65536));
    EXPECT_FALSE(checker.isListening("", listener.port()));
}

TEST(NetworkPortChecker, GivesUpOnAnUnansweredConnectAfterOneSecond) {
    // With the backlog full the kernel drops further handshakes; the connect would hang.
    const test::LoopbackListener listener(0);
    NetworkPortChecker checker;
    ASSERT_TRUE(checker.isListening("127.0.0.1", listener.port()));
    const auto start = Clock::now();
    EXPECT_FALSE(checker.isListening("127.0.0.1", listener.port()));
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(900));
    EXPECT_LT(elapsed, std::chrono::milliseconds(2500));
}

} // namespace
} // namespace velquor
