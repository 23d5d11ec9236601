#include "world/random.h"

#include <gtest/gtest.h>

#include <random>

namespace verdanium {
namespace {

TEST(MersenneTwister, MatchesTheStandardGeneratorAcrossRegenerationsAndAfterReseeding) {
    MersenneTwister generator;
    std::mt19937 reference;
    for (int i = 0; i < 3 * 624 + 5; ++i)
        ASSERT_EQ(generator.next(), reference()) << "draw " << i;
    generator.seed(42);
    reference.seed(42);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(generator.next(), reference()) << "draw " << i << " after reseeding";
}

TEST(Uniform01, RoundsToFloatBeforeScaling) {
    EXPECT_EQ(uniform01(0), 0.0f);
    EXPECT_FLOAT_EQ(uniform01(0x80000000u), 0.5f);
    // The largest draws round up to 2^32 as floats, so the result reaches 1.
    EXPECT_EQ(uniform01(0xffffffffu), 1.0f);
    EXPECT_LT(uniform01(0xffffff00u), 1.0f);
}

} // namespace
} // namespace verdanium
