#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bvh.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <cstdint>

namespace verdanium {

// The traversals of both hierarchy levels. A level supplies what its leaves hold through a callable; the
// order of visits, the box test and the stack are shared, so the scene level walks its tree exactly as a
// mesh does.

// Per-ray constants of the slab test, computed once per traversal.
struct SlabRay {
    float origin[3];
    // 1 / direction by a true division, so that a zero component gives an infinity of its sign.
    float inverse[3];
    // Per axis 0 if the inverse is >= 0, else 1 (a NaN counts as 1).
    std::uint32_t sign[3];
    // Plane indices of the box floats: entry = axis + 3 * sign, exit = axis + 3 * (1 - sign). Precomputed so
    // that each node picks its planes by plain loads, with no per-node min or max.
    std::uint32_t entry[3];
    std::uint32_t exit[3];
};

inline SlabRay makeSlabRay(const Vec3& origin, const Vec3& inverseDirection, const std::uint32_t sign[3]) {
    SlabRay slab;
    slab.origin[0] = origin.x;
    slab.origin[1] = origin.y;
    slab.origin[2] = origin.z;
    slab.inverse[0] = inverseDirection.x;
    slab.inverse[1] = inverseDirection.y;
    slab.inverse[2] = inverseDirection.z;
    for (int axis = 0; axis < 3; ++axis) {
        slab.sign[axis] = sign[axis];
        slab.entry[axis] = axis + 3 * sign[axis];
        slab.exit[axis] = axis + 3 * (1 - sign[axis]);
    }
    return slab;
}

inline SlabRay makeSlabRay(const Ray& ray) {
    const Vec3 inverse{1.0f / ray.direction.x, 1.0f / ray.direction.y, 1.0f / ray.direction.z};
    const std::uint32_t sign[3] = {inverse.x >= 0.0f ? 0u : 1u, inverse.y >= 0.0f ? 0u : 1u,
                                   inverse.z >= 0.0f ? 0u : 1u};
    return makeSlabRay(ray.origin, inverse, sign);
}

// The slab test: does the ray enter the node's box before limit and leave it after tMin?
//
// The comparisons keep an exact sense, because a ray running along a slab plane makes 0 * infinity = NaN:
// such a NaN never rejects at the axis overlap tests and passes the limit test, but fails the final
// t1 > tMin. The running t0 and t1 are written as the selects "raise t0 if the other is greater" and
// "replace t1 unless the other is >= it", which compile to maxss and minss with exactly these NaN rules.
// All rejections are or-ed together at the end instead of returned early: the inputs are all loaded anyway,
// and one well-predicted branch beats five unpredictable ones on incoherent rays.
inline bool slabHits(const BvhNode& node, const SlabRay& ray, float limit, float tMin) {
    const float tx0 = (node.plane(ray.entry[0]) - ray.origin[0]) * ray.inverse[0];
    const float tx1 = (node.plane(ray.exit[0]) - ray.origin[0]) * ray.inverse[0];
    const float ty0 = (node.plane(ray.entry[1]) - ray.origin[1]) * ray.inverse[1];
    const float ty1 = (node.plane(ray.exit[1]) - ray.origin[1]) * ray.inverse[1];
    const float tz0 = (node.plane(ray.entry[2]) - ray.origin[2]) * ray.inverse[2];
    const float tz1 = (node.plane(ray.exit[2]) - ray.origin[2]) * ray.inverse[2];

    bool reject = (tx0 > ty1) | (ty0 > tx1);
    float t0 = ty0 > tx0 ? ty0 : tx0;
    float t1 = ty1 >= tx1 ? tx1 : ty1;
    reject |= (t0 > tz1) | (tz0 > t1);
    t0 = tz0 > t0 ? tz0 : t0;
    t1 = tz1 >= t1 ? t1 : tz1;
    reject |= (t0 >= limit) | !(t1 > tMin);
    return !reject;
}

// The box test of the any-hit traversal: the slab test limited by ray.tMax alone.
inline bool rayHitsBox(const BvhNode& node, const Ray& ray, const Vec3& inverseDirection,
                       const std::uint32_t sign[3]) {
    return slabHits(node, makeSlabRay(ray.origin, inverseDirection, sign), ray.tMax, ray.tMin);
}

// Depth of the fixed traversal stack. The median split keeps a tree over n items about log2(n) deep, so 64
// entries cannot be reached; there is no bounds check.
inline constexpr int kBvhStackSize = 64;

// Nearest-hit traversal. leaf(index, count) tests the leaf's items and returns whether any of them improved
// the hit. The limit is re-read from hit.t at every node, so each hit found shortens the rest of the search.
// Children are visited near side first, judged by the sign of the ray on the node's split axis alone, and
// each is tested only when its turn comes.
template <typename Leaf>
inline bool traverseNearest(const BvhNode* nodes, std::size_t nodeCount, const Ray& ray, Hit& hit,
                            Leaf&& leaf) {
    if (nodeCount == 0)
        return false;
    const SlabRay slab = makeSlabRay(ray);
    std::uint32_t stack[kBvhStackSize];
    int size = 0;
    std::uint32_t current = 0;
    bool found = false;
    for (;;) {
        const BvhNode& node = nodes[current];
        const float limit = hit.t >= ray.tMax ? ray.tMax : hit.t;
        if (slabHits(node, slab, limit, ray.tMin)) {
            if (node.count == 0) {
                // Branch-free child order: the far child is pushed, the near one taken at once.
                const std::uint32_t left = current + 1;
                const std::uint32_t right = node.index;
                const bool rightFirst = slab.sign[node.axis] != 0;
                stack[size++] = rightFirst ? left : right;
                current = rightFirst ? right : left;
                continue;
            }
            found |= leaf(node.index, node.count);
        }
        if (size == 0)
            break;
        current = stack[--size];
    }
    return found;
}

// Any-hit traversal: the same walk with the box limited by ray.tMax; leaf(index, count) returns true if an
// item blocks the ray, which ends the query.
template <typename Leaf>
inline bool traverseAny(const BvhNode* nodes, std::size_t nodeCount, const Ray& ray, Leaf&& leaf) {
    if (nodeCount == 0)
        return false;
    const SlabRay slab = makeSlabRay(ray);
    std::uint32_t stack[kBvhStackSize];
    int size = 0;
    std::uint32_t current = 0;
    for (;;) {
        const BvhNode& node = nodes[current];
        if (slabHits(node, slab, ray.tMax, ray.tMin)) {
            if (node.count == 0) {
                const std::uint32_t left = current + 1;
                const std::uint32_t right = node.index;
                const bool rightFirst = slab.sign[node.axis] != 0;
                stack[size++] = rightFirst ? left : right;
                current = rightFirst ? right : left;
                continue;
            }
            if (leaf(node.index, node.count))
                return true;
        }
        if (size == 0)
            break;
        current = stack[--size];
    }
    return false;
}

} // namespace verdanium
