#include "raster/texture.h"

#include <gtest/gtest.h>

#include <limits>

namespace verdanium {
namespace {

// A 4 x 3 image: index = row * 4 + column, row 0 at the top (v = 1).
constexpr std::int64_t kWidth = 4;
constexpr std::int64_t kHeight = 3;

std::size_t lookup(WrapMode mode, float u, float v) {
    return texelIndex(mode, kWidth, kHeight, u, v);
}

// Per row: the origin; u = 1 (repeat starts the next period at column 0, clamp keeps the last column, mirror
// turns back onto it); v = 1 (clamp gives the image's first row, repeat wraps to the last); small negatives
// truncate toward zero onto column 0, -0.3 * 4 = -1.2 to -1 (repeat takes the last column, mirror reflects
// onto the first); later periods (mirror turns back on every other one, repeat never).
TEST(TexelIndex, EdgesNegativeCoordinatesAndLaterPeriods) {
    const struct {
        WrapMode mode;
        float u, v;
        std::int64_t row, column;
    } cases[] = {
        {WrapClamp, 0.0f, 0.0f, 2, 0},   {WrapMirror, 0.0f, 0.0f, 2, 0},  {WrapRepeat, 0.0f, 0.0f, 2, 0},
        {WrapRepeat, 1.0f, 0.5f, 1, 0},  {WrapClamp, 1.0f, 0.5f, 1, 3},   {WrapMirror, 1.0f, 0.5f, 1, 3},
        {WrapClamp, 0.5f, 1.0f, 0, 2},   {WrapRepeat, 0.5f, 1.0f, 2, 2},  {WrapMirror, 0.5f, 1.0f, 0, 2},
        {WrapRepeat, -0.1f, 0.5f, 1, 0}, {WrapRepeat, -0.3f, 0.5f, 1, 3}, {WrapMirror, -0.3f, 0.5f, 1, 0},
        {WrapRepeat, -1.3f, 0.5f, 1, 3}, {WrapMirror, -1.3f, 0.5f, 1, 3}, {WrapClamp, -5.0f, -5.0f, 2, 0},
        {WrapMirror, 1.3f, 0.5f, 1, 2},  {WrapMirror, 2.3f, 0.5f, 1, 1},  {WrapRepeat, 1.3f, 0.5f, 1, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(lookup(c.mode, c.u, c.v), static_cast<std::size_t>(c.row * kWidth + c.column))
            << "mode " << c.mode << " at " << c.u << ", " << c.v;
}

TEST(TexelIndex, WildInputsStayInside) {
    const float wild[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(), 3e9f, -3e9f};
    for (WrapMode mode : {WrapClamp, WrapMirror, WrapRepeat})
        for (float u : wild)
            for (float v : wild)
                EXPECT_LT(lookup(mode, u, v), static_cast<std::size_t>(kWidth * kHeight));
}

} // namespace
} // namespace verdanium
