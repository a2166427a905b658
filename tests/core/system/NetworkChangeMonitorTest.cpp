#include "core/system/NetworkChangeMonitor.h"

#include "tests/support/Wait.h"

#include <gtest/gtest.h>

#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>

namespace velquor {
namespace {

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

} // namespace
} // namespace velquor
