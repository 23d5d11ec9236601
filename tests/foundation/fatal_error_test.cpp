#include "foundation/fatal_error.h"
#include "foundation/tracked_memory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace verdanium {
namespace {

// Death-test children send standard output to standard error (which the death
// test matches) and lose the display, so no message box waits for a click.
void prepareFatalChild() {
    unsetenv("DISPLAY");
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

TEST(FatalErrorDeathTest, WritesTheMessageOnItsOwnLineAndExitsWithOne) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            prepareFatalChild();
            std::printf("pending output");
            fatalError("Out of %s!", "memory");
        },
        ::testing::ExitedWithCode(1), "pending output\nOut of memory!\n$");
    EXPECT_EXIT(
        {
            prepareFatalChild();
            trackedAlloc(std::size_t{1} << 62);
        },
        ::testing::ExitedWithCode(1), "\n\nOut of memory!\n$");
}

} // namespace
} // namespace verdanium
