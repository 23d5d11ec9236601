#include "raster/texture.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace verdanium {
namespace {

// Truncation to a signed 32-bit integer as the processor's conversion does it:
// a value out of range, or NaN, becomes the lowest integer rather than undefined
// behaviour.
std::int64_t truncateToInt32(float value) {
    constexpr float kLimit = 2147483648.0f; // 2^31
    if (!(value > -kLimit && value < kLimit))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

struct Folded {
    std::int64_t position; // in [0, size)
    bool mirrored;         // an odd period, counted from the floor of i / size
};

// i modulo size with a non-negative remainder. For every i that is not a
// negative multiple of size this equals the truncating remainder raised by size
// when i is negative, and the odd floored quotient equals "odd quotient for
// i >= 0, even for i < 0"; at negative multiples the floored form stays inside
// the image, where raising a zero remainder would step one texel past the row.
Folded fold(std::int64_t i, std::int64_t size) {
    // Inside the image, the common case, without the division.
    if (i >= 0 && i < size)
        return {i, false};
    std::int64_t quotient = i / size;
    std::int64_t remainder = i % size;
    if (remainder < 0) {
        remainder += size;
        --quotient;
    }
    return {remainder, (quotient & 1) != 0};
}

} // namespace

std::size_t texelIndex(WrapMode mode, std::int64_t width, std::int64_t height, float u, float v) {
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    if (mode == WrapClamp) {
        const float marginU = 1.0f / (2.0f * w);
        const float marginV = 1.0f / (2.0f * h);
        // fmin and fmax send a NaN coordinate to the upper margin.
        u = std::fmax(marginU, std::fmin(u, 1.0f - marginU));
        v = std::fmax(marginV, std::fmin(v, 1.0f - marginV));
        // Half a texel inside the edges, the truncation lands on the edge texel;
        // from 2^24 texels on, the float products round up to the size itself,
        // and the bound keeps even that read inside the image.
        const auto lastRow = static_cast<std::uint64_t>(height - 1);
        const auto lastColumn = static_cast<std::uint64_t>(width - 1);
        const std::uint64_t row = std::min(static_cast<std::uint64_t>((1.0f - v) * h), lastRow);
        const std::uint64_t column = std::min(static_cast<std::uint64_t>(w * u), lastColumn);
        return static_cast<std::size_t>(row * static_cast<std::uint64_t>(width) + column);
    }
    Folded x = fold(truncateToInt32(w * u), width);
    Folded y = fold(truncateToInt32(h * v), height);
    if (mode == WrapMirror) {
        if (x.mirrored)
            x.position = width - x.position - 1;
        if (y.mirrored)
            y.position = height - y.position - 1;
    }
    return static_cast<std::size_t>((height - y.position - 1) * width + x.position);
}

} // namespace verdanium
