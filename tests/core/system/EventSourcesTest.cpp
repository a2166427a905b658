#include "core/system/DescriptorWait.h"
#include "core/system/NetworkChangeMonitor.h"
#include "core/system/ResumeDetector.h"
#include "core/system/SignalDescriptor.h"
#include "core/system/WakeUpWatch.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

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

// Brings the loopback interface of the calling thread's network namespace up, which gives it
// its addresses and routes.
void bringLoopbackUp() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    ASSERT_EQ(::ioctl(socket.get(), SIOCGIFFLAGS, &request), 0) << std::strerror(errno);
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    ASSERT_EQ(::ioctl(socket.get(), SIOCSIFFLAGS, &request), 0) << std::strerror(errno);
}

// The change is made in a network namespace of a thread of its own, so the machine's network
// is never touched.
TEST(NetworkChangeMonitor, SeesTheAddressesAndRoutesOfAnInterfaceThatComesUp) {
    std::string skipReason;
    std::thread([&] {
        if (::unshare(CLONE_NEWNET) != 0) {
            skipReason = std::string("cannot create a network namespace: ") + std::strerror(errno);
            return;
        }
        NetworkChangeMonitor monitor;
        EXPECT_FALSE(monitor.drain()) << "nothing has changed yet";
        bringLoopbackUp();
        EXPECT_TRUE(test::waitUntil([&] { return monitor.drain(); }));
        EXPECT_FALSE(monitor.drain()) << "everything was read";
    }).join();
    if (!skipReason.empty()) {
        GTEST_SKIP() << skipReason;
    }
}

struct Look {
    // Seconds each clock advanced since the previous reading.
    std::chrono::seconds boottime;
    std::chrono::seconds monotonic;
    std::optional<std::chrono::nanoseconds> slept;
};

TEST(ResumeDetector, ReportsEachSleepLongerThanTheMinimumOnce) {
    const std::vector<Look> looks = {
        {60s, 60s, std::nullopt}, // awake
        {3660s, 60s, 3600s},      // slept an hour
        {5s, 5s, std::nullopt},   // the same sleep is not reported twice
        {2s, 0s, std::nullopt},   // too short to matter, and forgotten
        {2s, 0s, std::nullopt},   {13s, 10s, 3s},
    };
    ResumeDetector::ClockPair clocks{100s, 40s};
    ResumeDetector detector([&clocks] { return clocks; });
    for (std::size_t index = 0; index < looks.size(); ++index) {
        clocks.boottime += looks[index].boottime;
        clocks.monotonic += looks[index].monotonic;
        EXPECT_EQ(detector.sleptSinceLastLook(), looks[index].slept) << "look " << index;
    }
}

TEST(ResumeDetector, ReadsTheSystemsClocksWithoutReportingASleep) {
    ResumeDetector detector;
    EXPECT_EQ(detector.sleptSinceLastLook(), std::nullopt);
}

} // namespace
} // namespace velquor
