#pragma once

#include "foundation/math/vec3.h"

#include <cstdint>
#include <limits>

namespace verdanium {

// A ray as every query of the system takes it: points origin + t * direction for t in [tMin, tMax].
// The direction is not required to be unit length; object-space rays keep the world parameter t.
struct Ray {
    Vec3 origin;
    Vec3 direction;
    float tMin = 0.0f;
    float tMax = std::numeric_limits<float>::infinity();
    float time = 0.0f;
    // 0 for a camera ray; each bounce adds 1.
    std::int32_t depth = 0;
    // Set on camera and shadow rays, clear on bounce rays.
    bool countsLights = false;
};

} // namespace verdanium
