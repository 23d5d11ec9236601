#pragma once

#include "foundation/math/vec3.h"

#include <cstdint>

namespace verdanium {

// A pixel of the hybrid mode's picture that a surface covers, as read back from the raster targets: the
// light arriving at it is gathered by the tracer without tracing a camera ray.
struct PixelRecord {
    std::uint64_t index = 0; // y x width + x, in read-back order (rows from the bottom)
    Vec3 position;           // world position
    Vec3 normal;             // world normal as stored, not normalised
};

} // namespace verdanium
