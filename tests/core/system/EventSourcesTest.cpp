#include "core/system/DescriptorWait.h"
#include "core/system/SignalDescriptor.h"
#include "core/system/WakeUpWatch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace velquor {
namespace {

using namespace std::chrono_literals;

TEST(DescriptorWait, TellsWhichDescriptorIsReadableOrThatTheDeadlinePassed) {
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    const FileDescriptor readEnd(pipeEnds[0]), writeEnd(pipeEnds[1]);
    const int descriptors[] = {-1, readEnd.get()};

    EXPECT_EQ(DescriptorWait::until(descriptors, DescriptorWait::Clock::now() + 10ms),
              (std::vector<bool>{false, false}));
    ASSERT_EQ(::write(writeEnd.get(), "x", 1), 1);
    EXPECT_EQ(DescriptorWait::until(descriptors, std::nullopt), (std::vector<bool>{false, true}));
}

TEST(SignalDescriptor, HandsOverEachSignalInsteadOfItsDefaultAction) {
    // SIGUSR1 would end the test process if it were not taken over.
    SignalDescriptor signals({SIGUSR1, SIGUSR2});
    EXPECT_EQ(signals.take(), std::nullopt);
    for (const int number : {SIGUSR2, SIGUSR1}) {
        ASSERT_EQ(::raise(number), 0);
        const int descriptors[] = {signals.descriptor()};
        ASSERT_EQ(DescriptorWait::until(descriptors, DescriptorWait::Clock::now() + 10s),
                  std::vector<bool>{true});
        EXPECT_EQ(signals.take(), number);
    }
    EXPECT_EQ(signals.take(), std::nullopt);
}

// Waking it for real needs a suspend or setting the machine's clock, neither of which a test
// may do to a shared machine; this shows that it arms and stays quiet meanwhile.
TEST(WakeUpWatch, StaysQuietWhileTheClockRunsOn) {
    WakeUpWatch watch;
    const int descriptors[] = {watch.descriptor()};
    EXPECT_EQ(DescriptorWait::until(descriptors, DescriptorWait::Clock::now() + 20ms),
              std::vector<bool>{false});
    EXPECT_FALSE(watch.drain());
}

} // namespace
} // namespace velquor
