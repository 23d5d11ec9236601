#include "world/random.h"

#include <gtest/gtest.h>

namespace verdanium {
namespace {

// The generator itself is compared with the standard one over the first scene's 2816 draws.
TEST(Uniform01, RoundsToFloatBeforeScaling) {
    EXPECT_EQ(uniform01(0), 0.0f);
    EXPECT_FLOAT_EQ(uniform01(0x80000000u), 0.5f);
    // The largest draws round up to 2^32 as floats, so the result reaches 1.
    EXPECT_EQ(uniform01(0xffffffffu), 1.0f);
    EXPECT_LT(uniform01(0xffffff00u), 1.0f);
}

} // namespace
} // namespace verdanium
