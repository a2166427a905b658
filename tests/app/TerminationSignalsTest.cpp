#include "VelquorApp/VelquorApp/TerminationSignals.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

#include <csignal>

namespace velquor {
namespace {

TEST(TerminationSignalsTest, EachSignalArrivesOnTheMainThreadInsteadOfEndingTheProcess) {
    TerminationSignals termination;
    QSignalSpy received(&termination, &TerminationSignals::received);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ASSERT_EQ(::raise(number), 0);
        ASSERT_TRUE(received.wait(30000)) << number;
        EXPECT_EQ(received.takeFirst().at(0).toInt(), number);
    }
}

} // namespace
} // namespace velquor
