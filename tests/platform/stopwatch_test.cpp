#include "app/stopwatch.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace verdanium {
namespace {

TEST(StopwatchTest, MisuseIsReportedAndChangesNothing) {
    Stopwatch stopwatch;
    EXPECT_FALSE(stopwatch.running);
    try {
        stopwatch.stop();
        ADD_FAILURE() << "stop on a new stopwatch did not throw";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Stopwatch not running");
    }

    stopwatch.start();
    const double startTime = stopwatch.startTime;
    try {
        stopwatch.start();
        ADD_FAILURE() << "second start did not throw";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Stopwatch already running");
    }
    EXPECT_EQ(stopwatch.startTime, startTime);
    EXPECT_TRUE(stopwatch.running);
}

TEST(StopwatchTest, ElapsedGrowsWhileRunningAndHoldsAfterStop) {
    Stopwatch stopwatch;
    stopwatch.start();
    const double first = stopwatch.elapsed();
    const double second = stopwatch.elapsed();
    EXPECT_GE(first, 0.0);
    EXPECT_GE(second, first);

    stopwatch.stop();
    const double stopped = stopwatch.elapsed();
    EXPECT_GE(stopped, second);
    EXPECT_EQ(stopwatch.elapsed(), stopped);
    EXPECT_EQ(stopped, stopwatch.stopTime - stopwatch.startTime);

    // A restart measures from the new start.
    stopwatch.start();
    EXPECT_GE(stopwatch.startTime, stopwatch.stopTime);
}

} // namespace
} // namespace verdanium
