#pragma once

#include "foundation/math/mat4.h"
#include "foundation/math/transform.h"
#include "geometry/ray.h"

namespace verdanium {

// The ray carried into another space by `toSpace`: the origin as a point (with
// the division by w when w is not exactly 1; a w of 0 raises std::domain_error
// "element not invertible"), the direction as a vector, not normalised, so that
// t means the same on both sides and hits can be compared across entities.
//
// The range is not carried over: the result covers [0, +infinity) with time 0
// and depth 0, and keeps only countsLights. For an entity, toSpace is the
// inverse matrix of its transform (world to object); for a camera ray, the
// inverse of the camera (view to world).
inline Ray toObjectSpace(const Mat4& toSpace, const Ray& ray) {
    Ray result;
    result.origin = transformPoint(toSpace, ray.origin);
    result.direction = transformDirection(toSpace, ray.direction);
    result.countsLights = ray.countsLights;
    return result;
}

// The same for a transform: the ray is taken into the space that `transform`
// leads to, through its forward matrix. Pass the inverse transform (forward and
// inverse swapped) to go from world space into an entity's object space.
inline Ray toObjectSpace(const Transform& transform, const Ray& ray) {
    return toObjectSpace(transform.forward, ray);
}

} // namespace verdanium
