#pragma once

#include "foundation/math/vec3.h"
#include "foundation/math/vec4.h"

#include <cstdint>
#include <string>
#include <vector>

namespace verdanium::testing {

// A cube-map strip of 2 x 2 texel faces (2 wide, 12 high) in the temporary
// directory, every texel a colour of its own, so that a picture of the box
// tells which face, and which corner of it, each pixel shows.
std::string writeTestStrip(const std::string& name);
// The colour writeTestStrip gives the texel in `row` (from the file's top) and
// `column`.
Vec3 testStripTexel(int row, int column);

// A framebuffer object of RGBA32F colour and 24-bit depth, bound for drawing
// with the viewport on it while it lives; framebuffer 0 comes back afterwards.
// Float colour lets tests compare pixels exactly with the texels they show.
class FloatTarget {
public:
    FloatTarget(std::int32_t width, std::int32_t height);
    ~FloatTarget();
    FloatTarget(const FloatTarget&) = delete;
    FloatTarget& operator=(const FloatTarget&) = delete;

    void clear();
    // All pixels, rows from the bottom as GL gives them.
    std::vector<Vec4> read() const;

    const std::int32_t width;
    const std::int32_t height;

private:
    std::uint32_t framebuffer = 0;
    std::uint32_t colour = 0;
    std::uint32_t depth = 0;
};

// Whether a and b agree within `tolerance` in every component.
bool near(const Vec3& a, const Vec3& b, float tolerance);

} // namespace verdanium::testing
