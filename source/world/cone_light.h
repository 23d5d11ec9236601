#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

// A distant light of finite angular size: every direction within `angle` of
// `direction` carries `radiance`. The derived members are computed once, at
// construction, because the path kernel samples the cone at every bounce.
struct ConeLight {
    // direction need not be unit length; it is normalised here. angle is the
    // half-angle of the cone in radians.
    ConeLight(Vec3 direction, float angle, Vec3 radiance);

    Vec3 direction;   // unit
    float angle;      // half-angle, radians
    float solidAngle; // 2 pi (1 - cos angle)
    Vec3 radiance;
    float pdf; // 1 / solidAngle: uniform over the cone
    Vec3 tangentU;
    Vec3 tangentV;
    Vec3 axis; // a copy of direction
};

} // namespace verdanium
