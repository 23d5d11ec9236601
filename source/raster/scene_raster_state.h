#pragma once

#include <cstdint>

namespace verdanium {

// What the raster passes share: the attribute mask they push, the test for the
// modes that can be rasterised, the one message for those that cannot, and the
// pipeline state in which the scene is drawn.

// Every attribute group of the fixed pipeline, as glPushAttrib takes it.
inline constexpr std::uint32_t kAllAttributeBits = 0xFFFFF;

// Fixed raster, shader raster and hybrid: the three modes that draw with GL.
bool isRasterMode(std::uint32_t mode);

// "error: cannot rasterize in RenderMode <mode>" on standard error, the mode in
// decimal. Written once for every object asked to draw in such a mode.
void reportCannotRasterize(std::uint32_t mode);

// Lighting with light 0 and a local viewer, depth test, filled polygons on both
// sides, no culling. Pushes nothing: the caller brackets it with
// glPushAttrib(kAllAttributeBits) and glPopAttrib.
void applyRasterState();

} // namespace verdanium
