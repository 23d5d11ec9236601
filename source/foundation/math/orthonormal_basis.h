#pragma once

#include "foundation/math/vec3.h"

#include <cmath>

namespace verdanium {

struct TangentPair {
    Vec3 u;
    Vec3 v;
};

// Two tangents completing the unit vector n to a right-handed orthonormal frame
// (u, v, n). The larger of |n.x| and |n.y| picks which component u drops, so the
// square root never sees a value near zero; ties (strict comparison) take the
// second branch.
inline TangentPair orthonormalBasis(const Vec3& n) {
    Vec3 u;
    if (std::fabs(n.x) > std::fabs(n.y)) {
        float f = 1.0f / std::sqrt(n.x * n.x + n.z * n.z);
        u = {-n.z * f, 0.0f, n.x * f};
    } else {
        float f = 1.0f / std::sqrt(n.y * n.y + n.z * n.z);
        u = {0.0f, n.z * f, -n.y * f};
    }
    return {u, cross(n, u)};
}

} // namespace verdanium
