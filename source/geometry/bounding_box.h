#pragma once

#include "foundation/math/vec3.h"

#include <limits>

namespace verdanium {

// An axis-aligned box: lower x, y, z then upper x, y, z, six floats with no padding. A default box is empty
// (lower +infinity, upper -infinity), so that extending it by anything yields exactly that thing.
struct BoundingBox {
    Vec3 lower{std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
               std::numeric_limits<float>::infinity()};
    Vec3 upper{-std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
               -std::numeric_limits<float>::infinity()};

    // Grows the box to contain the point.
    void extend(const Vec3& point) {
        lower = Vec3{point.x < lower.x ? point.x : lower.x, point.y < lower.y ? point.y : lower.y,
                     point.z < lower.z ? point.z : lower.z};
        upper = Vec3{point.x > upper.x ? point.x : upper.x, point.y > upper.y ? point.y : upper.y,
                     point.z > upper.z ? point.z : upper.z};
    }

    // Grows the box to contain the other box (an empty one changes nothing).
    void extend(const BoundingBox& other) {
        lower = Vec3{other.lower.x < lower.x ? other.lower.x : lower.x,
                     other.lower.y < lower.y ? other.lower.y : lower.y,
                     other.lower.z < lower.z ? other.lower.z : lower.z};
        upper = Vec3{other.upper.x > upper.x ? other.upper.x : upper.x,
                     other.upper.y > upper.y ? other.upper.y : upper.y,
                     other.upper.z > upper.z ? other.upper.z : upper.z};
    }

    // True for a box that contains no point, such as the default one.
    bool isEmpty() const { return !(lower.x <= upper.x && lower.y <= upper.y && lower.z <= upper.z); }
};

} // namespace verdanium
