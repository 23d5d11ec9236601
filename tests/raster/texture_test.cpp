#include "raster/texture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace verdanium {
namespace {

// A 4 x 3 image: index = row * 4 + column, row 0 at the top (v = 1).
constexpr std::int64_t kWidth = 4;
constexpr std::int64_t kHeight = 3;

std::size_t at(std::int64_t row, std::int64_t column) {
    return static_cast<std::size_t>(row * kWidth + column);
}

std::size_t lookup(WrapMode mode, float u, float v) {
    return texelIndex(mode, kWidth, kHeight, u, v);
}

TEST(TexelIndex, EdgesOfTheUnitSquare) {
    for (WrapMode mode : {WrapClamp, WrapMirror, WrapRepeat})
        EXPECT_EQ(lookup(mode, 0.0f, 0.0f), at(2, 0)) << "mode " << mode;

    // u = 1: repeat starts the next period at column 0, clamp keeps the last
    // column, mirror turns back onto the last column.
    EXPECT_EQ(lookup(WrapRepeat, 1.0f, 0.5f), at(1, 0));
    EXPECT_EQ(lookup(WrapClamp, 1.0f, 0.5f), at(1, 3));
    EXPECT_EQ(lookup(WrapMirror, 1.0f, 0.5f), at(1, 3));

    // v = 1: clamp gives the image's first row, repeat wraps to the last.
    EXPECT_EQ(lookup(WrapClamp, 0.5f, 1.0f), at(0, 2));
    EXPECT_EQ(lookup(WrapRepeat, 0.5f, 1.0f), at(2, 2));
    EXPECT_EQ(lookup(WrapMirror, 0.5f, 1.0f), at(0, 2));
}

TEST(TexelIndex, NegativeCoordinatesAndLaterPeriods) {
    // Truncation toward zero keeps small negatives on column 0.
    EXPECT_EQ(lookup(WrapRepeat, -0.1f, 0.5f), at(1, 0));
    // -0.3 * 4 = -1.2 truncates to -1: repeat takes the last column, mirror
    // reflects onto the first.
    EXPECT_EQ(lookup(WrapRepeat, -0.3f, 0.5f), at(1, 3));
    EXPECT_EQ(lookup(WrapMirror, -0.3f, 0.5f), at(1, 0));
    EXPECT_EQ(lookup(WrapRepeat, -1.3f, 0.5f), at(1, 3));
    EXPECT_EQ(lookup(WrapMirror, -1.3f, 0.5f), at(1, 3));
    EXPECT_EQ(lookup(WrapClamp, -5.0f, -5.0f), at(2, 0));
    // Mirror turns back on every other period, repeat never.
    EXPECT_EQ(lookup(WrapMirror, 1.3f, 0.5f), at(1, 2));
    EXPECT_EQ(lookup(WrapMirror, 2.3f, 0.5f), at(1, 1));
    EXPECT_EQ(lookup(WrapRepeat, 1.3f, 0.5f), at(1, 1));
}

TEST(TexelIndex, UnknownModesRepeatAndWildInputsStayInside) {
    EXPECT_EQ(lookup(static_cast<WrapMode>(7), -0.3f, 0.5f), lookup(WrapRepeat, -0.3f, 0.5f));
    const float wild[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(), 3e9f, -3e9f};
    for (WrapMode mode : {WrapClamp, WrapMirror, WrapRepeat})
        for (float u : wild)
            for (float v : wild)
                EXPECT_LT(lookup(mode, u, v), static_cast<std::size_t>(kWidth * kHeight));
    // From 2^24 texels on, the clamped edge coordinate rounds up to the size in floats.
    constexpr std::int64_t kWide = std::int64_t{1} << 24;
    EXPECT_EQ(texelIndex(WrapClamp, kWide, 1, 1.0f, 0.5f), static_cast<std::size_t>(kWide - 1));
    EXPECT_EQ(texelIndex(WrapClamp, 1, kWide, 0.5f, 0.0f), static_cast<std::size_t>(kWide - 1));
}

} // namespace
} // namespace verdanium
