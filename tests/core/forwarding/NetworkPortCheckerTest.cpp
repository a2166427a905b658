#include "core/forwarding/NetworkPortChecker.h"

#include "tests/support/LoopbackListener.h"
#include "tests/support/Network.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace velquor {
namespace {

// How fast the probe answers belongs to the benchmark; the deadline here only catches a hang.
bool isListeningWithin(const std::string& host, std::int64_t port) {
    auto answer = std::async(std::launch::async,
                             [=] { return NetworkPortChecker().isListening(host, port); });
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        ADD_FAILURE() << "the probe of " << host << ":" << port << " hung";
    }
    return answer.get();
}

TEST(NetworkPortChecker, SeesAListenerAndNothingWhereNoneAnswers) {
    const test::LoopbackListener listener;
    // With a backlog of 0 the kernel drops further handshakes; the connect would hang.
    const test::LoopbackListener full(0);
    ASSERT_TRUE(isListeningWithin("127.0.0.1", full.port()));
    const std::tuple<std::string, std::int64_t, bool> cases[] = {
        {"127.0.0.1", listener.port(), true},
        // localhost may resolve to ::1 first, which refuses: the next address must be tried.
        {"localhost", listener.port(), true},
        {"localhost", test::freeTcpPort(), false},
        {"127.0.0.1", 65536, false},
        {"", listener.port(), false},
    };
    for (const auto& [host, port, listening] : cases) {
        EXPECT_EQ(isListeningWithin(host, port), listening) << host << ":" << port;
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(isListeningWithin("127.0.0.1", full.port()));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900))
        << "gave up on an unanswered connect before its second";
}

} // namespace
} // namespace velquor
