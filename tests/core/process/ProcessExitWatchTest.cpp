#include "core/process/ProcessExitWatch.h"

#include "core/process/ProcessSpawner.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>

namespace velquor {
namespace {

bool readableWithin(int descriptor, int milliseconds) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, milliseconds) == 1 && (entry.revents & POLLIN) != 0;
}

TEST(ProcessExitWatch, BecomesReadableWhenTheChildIsKilledAndNotBefore) {
    ProcessSpawner spawner;
    const auto pid = spawner.spawn("/bin/sleep", {"60"});
    {
        const ProcessExitWatch watch(pid);
        EXPECT_FALSE(watch.hasExited());
        EXPECT_FALSE(readableWithin(watch.descriptor(), 0));
        ASSERT_EQ(::kill(pid, SIGKILL), 0);
        // Generous: the wait ends as soon as the child is gone.
        EXPECT_TRUE(readableWithin(watch.descriptor(), 10000));
        EXPECT_TRUE(watch.hasExited());
    }
    // Still ours to reap: the watch took nothing away from the owner.
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST(ProcessExitWatch, RefusesAProcessThatDoesNotExist) {
    EXPECT_THROW(ProcessExitWatch(-5), std::system_error);
    EXPECT_THROW(ProcessExitWatch(0x3ffffff0), std::system_error);
}

} // namespace
} // namespace velquor
