#pragma once

#include "geometry/bvh_node.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace verdanium {

// The per-ray constants of a walk over boxes, made once per query.
struct SlabRay {
    float origin[3];
    // A true division per axis, so that a zero component gives an infinity of its sign.
    float inverse[3];
    // Per axis the box plane (of lower x, y, z, upper x, y, z) the ray enters through and the one it leaves
    // through: axis + 3 * sign and axis + 3 * (1 - sign).
    std::uint32_t entry[3];
    std::uint32_t exit[3];
    // Bit a set when the sign on axis a is 1: the inverse is negative, -0's infinity included, or NaN.
    std::uint32_t octant;
    // Origin finite and every inverse finite and nonzero: then no slab distance over finite planes can be
    // NaN, which is what lets the four-wide walk skip the boxes of the levels it folds (wide_bvh.h).
    bool finite;
};

// Made for every query, so written over one vector: the three divisions in one, and the signs and the
// finiteness read as masks, with the same answers as the comparisons of the comments above.
inline SlabRay makeSlabRay(const Ray& ray) {
    SlabRay slab;
#if defined(__SSE2__)
    const __m128 zero = _mm_setzero_ps();
    const __m128 infinity = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 signBit = _mm_set1_ps(-0.0f);
    // The fourth lane (origin 0, direction 1) is finite and positive and is dropped from every mask.
    const __m128 origin = _mm_setr_ps(ray.origin.x, ray.origin.y, ray.origin.z, 0.0f);
    const __m128 inverse =
        _mm_div_ps(_mm_set1_ps(1.0f), _mm_setr_ps(ray.direction.x, ray.direction.y, ray.direction.z, 1.0f));
    float lanes[4];
    _mm_storeu_ps(lanes, origin);
    std::memcpy(slab.origin, lanes, sizeof slab.origin);
    _mm_storeu_ps(lanes, inverse);
    std::memcpy(slab.inverse, lanes, sizeof slab.inverse);
    // The sign is 1 unless the inverse is >= 0, so a NaN counts as 1; finite: |x| < infinity, false for NaN.
    const std::uint32_t signs = static_cast<std::uint32_t>(_mm_movemask_ps(_mm_cmpnge_ps(inverse, zero)));
    const __m128 finite = _mm_and_ps(_mm_and_ps(_mm_cmplt_ps(_mm_andnot_ps(signBit, origin), infinity),
                                                _mm_cmplt_ps(_mm_andnot_ps(signBit, inverse), infinity)),
                                     _mm_cmpneq_ps(inverse, zero));
    slab.finite = (_mm_movemask_ps(finite) & 7) == 7;
#else
    const float origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    const float direction[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
    std::uint32_t signs = 0;
    slab.finite = true;
    for (int axis = 0; axis < 3; ++axis) {
        slab.origin[axis] = origin[axis];
        slab.inverse[axis] = 1.0f / direction[axis];
        signs |= (slab.inverse[axis] >= 0.0f ? 0u : 1u) << axis;
        slab.finite = slab.finite && std::isfinite(origin[axis]) && std::isfinite(slab.inverse[axis]) &&
                      slab.inverse[axis] != 0.0f;
    }
#endif
    slab.octant = signs & 7u;
    for (std::uint32_t axis = 0; axis < 3; ++axis) {
        const std::uint32_t sign = (signs >> axis) & 1u;
        slab.entry[axis] = axis + 3 * sign;
        slab.exit[axis] = axis + 3 * (1 - sign);
    }
    return slab;
}

// The slab test of one binary node against the range that ends at `limit`, step by step in the order and the
// sense of the comparisons that define it. A NaN distance (a ray running in a slab plane: 0 * infinity)
// rejects at no comparison but the last, where a NaN exit fails t1 > tMin; since a NaN entry is never raised
// and a NaN exit is replaced by the next axis's exit, what survives is a NaN x entry (which passes the limit
// test) and a NaN z exit (which rejects).
inline bool rayHitsBox(const BvhNode& node, const SlabRay& ray, float tMin, float limit) {
    const float tx0 = (node.plane(ray.entry[0]) - ray.origin[0]) * ray.inverse[0];
    const float tx1 = (node.plane(ray.exit[0]) - ray.origin[0]) * ray.inverse[0];
    const float ty0 = (node.plane(ray.entry[1]) - ray.origin[1]) * ray.inverse[1];
    const float ty1 = (node.plane(ray.exit[1]) - ray.origin[1]) * ray.inverse[1];
    if (tx0 > ty1 || ty0 > tx1)
        return false;
    float t0 = tx0;
    if (ty0 > t0)
        t0 = ty0;
    float t1 = tx1;
    if (!(ty1 >= t1))
        t1 = ty1;
    const float tz0 = (node.plane(ray.entry[2]) - ray.origin[2]) * ray.inverse[2];
    const float tz1 = (node.plane(ray.exit[2]) - ray.origin[2]) * ray.inverse[2];
    if (t0 > tz1 || tz0 > t1)
        return false;
    if (tz0 > t0)
        t0 = tz0;
    if (!(tz1 >= t1))
        t1 = tz1;
    if (t0 >= limit)
        return false;
    return t1 > tMin;
}

// The nearest-hit limit of a node: ray.tMax unless the hit found so far is nearer. Read anew for every node.
inline float walkLimit(const Ray& ray, const Hit& hit) {
    return hit.t >= ray.tMax ? ray.tMax : hit.t;
}

// Depth of the fixed stacks: the median split keeps a tree about log2(n) deep, so 64 cannot be reached.
inline constexpr int kWalkStackSize = 64;

// The walk over the binary nodes that the four-wide walk reproduces: depth first, each node's box tested
// only when its turn comes, the child on the near side of the node's axis (by the ray's sign alone) first.
// leaf(index, count) tests the items of one leaf and returns whether the hit improved. Used for the rays on
// which the four-wide walk could not answer the same.
template <typename Leaf>
bool binaryIntersect(std::span<const BvhNode> nodes, const SlabRay& slab, const Ray& ray, Hit& hit,
                     Leaf&& leaf) {
    if (nodes.empty())
        return false;
    std::uint32_t stack[kWalkStackSize];
    int size = 0;
    std::uint32_t current = 0;
    bool found = false;
    for (;;) {
        const BvhNode& node = nodes[current];
        if (rayHitsBox(node, slab, ray.tMin, walkLimit(ray, hit))) {
            if (node.count == 0) {
                const bool rightFirst = (slab.octant >> node.axis) & 1u;
                stack[size++] = rightFirst ? current + 1 : node.index;
                current = rightFirst ? node.index : current + 1;
                continue;
            }
            found |= leaf(node.index, node.count);
        }
        if (size == 0)
            return found;
        current = stack[--size];
    }
}

// The any-hit walk in the same order, its boxes limited by ray.tMax; ends at the first leaf returning true.
template <typename Leaf>
bool binaryOccluded(std::span<const BvhNode> nodes, const SlabRay& slab, const Ray& ray, Leaf&& leaf) {
    if (nodes.empty())
        return false;
    std::uint32_t stack[kWalkStackSize];
    int size = 0;
    std::uint32_t current = 0;
    for (;;) {
        const BvhNode& node = nodes[current];
        if (rayHitsBox(node, slab, ray.tMin, ray.tMax)) {
            if (node.count == 0) {
                const bool rightFirst = (slab.octant >> node.axis) & 1u;
                stack[size++] = rightFirst ? current + 1 : node.index;
                current = rightFirst ? node.index : current + 1;
                continue;
            }
            if (leaf(node.index, node.count))
                return true;
        }
        if (size == 0)
            return false;
        current = stack[--size];
    }
}

} // namespace verdanium
