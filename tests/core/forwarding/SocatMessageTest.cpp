#include "core/forwarding/SocatMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace velquor {
namespace {

const std::string stamp = "2026/11/25 00:58:13 socat[24718] ";

struct MessageCase {
    std::string line;
    char level; // 0: not socat's form
    int priority;
    std::optional<ConnectFailure> failure;
};

const MessageCase messageCases[] = {
    {stamp + "E connect(5, AF=2 10.0.0.5:3260, 16): Connection refused", 'E', 3,
     ConnectFailure{"10.0.0.5:3260", "Connection refused"}},
    {stamp + "E connect(5, AF=10 [2001:db8::5]:3260, 28): No route to host", 'E', 3,
     ConnectFailure{"[2001:db8::5]:3260", "No route to host"}},
    {stamp + "E connect(5, AF=2 10.0.0.5:3260, 16): Connection timed out", 'E', 3,
     ConnectFailure{"10.0.0.5:3260", "Connection timed out"}},
    // Failures that are not the target's: the client went away, we ran out of descriptors.
    {stamp + "E write(6, 0x55d0, 48): Broken pipe", 'E', 3, std::nullopt},
    {stamp + "F socket(2, 1, 6): Too many open files", 'F', 3, std::nullopt},
    {stamp + "W read(6, 0x55d0, 8192): Connection reset by peer", 'W', 4, std::nullopt},
    {stamp + "N accepting connection from AF=2 127.0.0.1:1 on AF=2 127.0.0.1:2", 'N', 5,
     std::nullopt},
    {"E connect(5, AF=2 10.0.0.5:3260, 16): Connection refused", 0, 6, std::nullopt},
    {"socat[1] E connect(", 0, 6, std::nullopt},
    {"", 0, 6, std::nullopt},
    // What reaches our log is one bounded line whatever the text.
    {stamp + "E connect(5, AF=2 10.0.0.5:3260\x1b[2J, 16): Refused\x07 now", 'E', 3,
     ConnectFailure{"unknown address", "Refused  now"}},
    {stamp + "E connect(", 'E', 3, ConnectFailure{"unknown address", "unknown reason"}},
    {stamp + "E connect(5, AF=2 10.0.0.5:3260, 16): " + std::string(500, 'x'), 'E', 3,
     ConnectFailure{"10.0.0.5:3260", std::string(120, 'x') + "…"}},
};

class SocatMessageTable : public ::testing::TestWithParam<MessageCase> {};

TEST_P(SocatMessageTable, TellsLevelPriorityAndFailedConnection) {
    const auto& c = GetParam();
    EXPECT_EQ(SocatMessage::level(c.line).value_or(0), c.level);
    EXPECT_EQ(SocatMessage::journalPriority(c.line), c.priority);
    EXPECT_EQ(SocatMessage::connectFailure(c.line), c.failure);
}

INSTANTIATE_TEST_SUITE_P(SocatMessage, SocatMessageTable, ::testing::ValuesIn(messageCases));

} // namespace
} // namespace velquor
