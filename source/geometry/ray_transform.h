#pragma once

#include "foundation/math/mat4.h"
#include "foundation/math/transform.h"
#include "geometry/ray.h"

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

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
//
// Run for every entity a ray reaches, so the products are made a column at a time: each lane sums
// column 0 * x + column 1 * y + column 2 * z + column 3 * w in the order and with the roundings of
// transformPoint and transformDirection (no fused multiply-add on a baseline build), and the rare w other
// than 1 takes transformPoint itself.
inline Ray toObjectSpace(const Mat4& toSpace, const Ray& ray) {
    Ray result;
#if defined(__SSE2__)
    const __m128 c0 = _mm_loadu_ps(toSpace.m);
    const __m128 c1 = _mm_loadu_ps(toSpace.m + 4);
    const __m128 c2 = _mm_loadu_ps(toSpace.m + 8);
    const __m128 c3 = _mm_loadu_ps(toSpace.m + 12);
    const auto apply = [&](const Vec3& v, __m128 last) {
        const __m128 x = _mm_mul_ps(c0, _mm_set1_ps(v.x));
        const __m128 y = _mm_mul_ps(c1, _mm_set1_ps(v.y));
        const __m128 z = _mm_mul_ps(c2, _mm_set1_ps(v.z));
        return _mm_add_ps(_mm_add_ps(_mm_add_ps(x, y), z), last);
    };
    float point[4];
    float direction[4];
    _mm_storeu_ps(point, apply(ray.origin, c3));
    _mm_storeu_ps(direction, apply(ray.direction, _mm_mul_ps(c3, _mm_setzero_ps())));
    result.origin =
        point[3] == 1.0f ? Vec3{point[0], point[1], point[2]} : transformPoint(toSpace, ray.origin);
    result.direction = Vec3{direction[0], direction[1], direction[2]};
#else
    result.origin = transformPoint(toSpace, ray.origin);
    result.direction = transformDirection(toSpace, ray.direction);
#endif
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
