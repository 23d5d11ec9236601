#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bvh.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <cstddef>
#include <cstdint>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace verdanium {

// The traversals of the binary hierarchy. A tree supplies what its leaves hold through a callable; the
// order of visits, the box test and the stack are shared. (The scene level walks a four-wide copy of its
// tree instead, see wide_bvh.h: its tree stays in cache, where the trade-offs below come out the other way.)
//
// On incoherent rays this loop is bound by latency, not arithmetic: each node's address depends on the
// previous node, and whether a box is entered is close to a coin toss, so about every other node costs a
// mispredicted branch. Measured alternatives that gave the same answers but ran slower here: SSE box tests
// (one box or both children at once: the shuffles lengthen the chain), testing both children at their
// parent, and a branch-free descend-or-pop (it turns every prediction into a data dependency). What helped:
// a short compare chain, the child order from a register, a prefetch of the far child and a branch-free
// triangle test (see intersectTriangleEdges).

// Per-ray constants of the slab test, computed once per traversal.
struct SlabRay {
    float origin[3];
    // 1 / direction by a true division, so that a zero component gives an infinity of its sign.
    float inverse[3];
    // Bit k is the sign of axis k: 0 if the inverse is >= 0, else 1 (a NaN counts as 1). Kept as bits so
    // that the child order of a node is a shift of a register, not a load that the next node's address
    // would wait for.
    std::uint32_t signBits;
    // Plane indices of the box floats: entry = axis + 3 * sign, exit = axis + 3 * (1 - sign). Precomputed so
    // that each node picks its planes by plain loads, with no per-node min or max.
    std::uint32_t entry[3];
    std::uint32_t exit[3];

    std::uint32_t sign(std::uint32_t axis) const { return (signBits >> axis) & 1u; }
};

inline SlabRay makeSlabRay(const Vec3& origin, const Vec3& inverseDirection, const std::uint32_t sign[3]) {
    SlabRay slab;
    slab.origin[0] = origin.x;
    slab.origin[1] = origin.y;
    slab.origin[2] = origin.z;
    slab.inverse[0] = inverseDirection.x;
    slab.inverse[1] = inverseDirection.y;
    slab.inverse[2] = inverseDirection.z;
    slab.signBits = 0;
    for (std::uint32_t axis = 0; axis < 3; ++axis) {
        const std::uint32_t s = sign[axis] != 0 ? 1u : 0u;
        slab.signBits |= s << axis;
        slab.entry[axis] = axis + 3 * s;
        slab.exit[axis] = axis + 3 * (1 - s);
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
// With tx0, tx1 the distances to the x entry and exit planes (likewise y, z): reject if tx0 > ty1 or
// ty0 > tx1; t0 = tx0, raised to ty0 if ty0 > t0; t1 = tx1, replaced by ty1 unless ty1 >= t1; reject if
// t0 > tz1 or tz0 > t1; update t0 and t1 by the same two rules with z; reject if t0 >= limit, and unless
// t1 > tMin. These comparisons keep an exact sense, because a ray running along a slab plane makes
// 0 * infinity = NaN: such a NaN never rejects at the overlap tests and passes the limit test, but fails the
// final t1 > tMin.
//
// "Raise t0 if the other is greater" is written other > t0 ? other : t0, which is maxss with the NaN rule
// intact (a NaN keeps t0). "Replace t1 unless the other is >= it" is written t1 < other ? t1 : other, which
// is minss: it too takes the other value when either is NaN, and differs from the literal form only when
// the two are equal, where it may keep the other zero's sign; no comparison below can tell +0 from -0, so
// the test's result is the same, with a shorter dependency chain than a compare and a blend. All rejections
// are or-ed together and decided by one branch at the end.
inline bool slabHits(const BvhNode& node, const SlabRay& ray, float limit, float tMin) {
    const float tx0 = (node.plane(ray.entry[0]) - ray.origin[0]) * ray.inverse[0];
    const float tx1 = (node.plane(ray.exit[0]) - ray.origin[0]) * ray.inverse[0];
    const float ty0 = (node.plane(ray.entry[1]) - ray.origin[1]) * ray.inverse[1];
    const float ty1 = (node.plane(ray.exit[1]) - ray.origin[1]) * ray.inverse[1];
    const float tz0 = (node.plane(ray.entry[2]) - ray.origin[2]) * ray.inverse[2];
    const float tz1 = (node.plane(ray.exit[2]) - ray.origin[2]) * ray.inverse[2];

    bool reject = (tx0 > ty1) | (ty0 > tx1);
    float t0 = ty0 > tx0 ? ty0 : tx0;
    float t1 = tx1 < ty1 ? tx1 : ty1;
    reject |= (t0 > tz1) | (tz0 > t1);
    t0 = tz0 > t0 ? tz0 : t0;
    t1 = t1 < tz1 ? t1 : tz1;
    reject |= (t0 >= limit) | !(t1 > tMin);
    return !reject;
}

// The search limit of a nearest-hit query: ray.tMax if hit.t >= ray.tMax, else hit.t. Written as
// tMax < t ? tMax : t (minss), which agrees on every input: a NaN hit.t gives hit.t, a NaN tMax gives hit.t,
// equal values give that value.
inline float nearestLimit(const Ray& ray, const Hit& hit) {
    return ray.tMax < hit.t ? ray.tMax : hit.t;
}

// Depth of the fixed traversal stack. The median split keeps a tree over n items about log2(n) deep, so 64
// entries cannot be reached; there is no bounds check.
inline constexpr int kBvhStackSize = 64;

// Starts loading a node that the traversal will probably need soon, off the critical path.
inline void prefetchNode(const BvhNode* node) {
#if defined(__SSE__)
    _mm_prefetch(reinterpret_cast<const char*>(node), _MM_HINT_T0);
#else
    (void)node;
#endif
}

// Steps into an inner node: the child on the near side along the split axis, judged by the ray's sign
// alone, becomes current; the other is pushed. The right child usually lies far away in the array (the
// left one is the next node), so it is prefetched whichever way it goes.
inline std::uint32_t descend(const BvhNode* nodes, const BvhNode& node, std::uint32_t current,
                             const SlabRay& slab, std::uint32_t* stack, int& size) {
    prefetchNode(nodes + node.index);
    const bool rightFirst = slab.sign(node.axis) != 0;
    stack[size++] = rightFirst ? current + 1 : node.index;
    return rightFirst ? node.index : current + 1;
}

// The walk both queries share. Each node's box is tested when its turn comes, against limit() as it stands
// then; leaf(index, count) tests the leaf's items. kStopAtLeafHit: a leaf returning true ends the walk with
// true (any hit will do); otherwise the walk goes on and returns whether any leaf returned true.
template <bool kStopAtLeafHit, typename Limit, typename Leaf>
inline bool traverse(const BvhNode* nodes, std::size_t nodeCount, const Ray& ray, Limit&& limit,
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
        if (slabHits(node, slab, limit(), ray.tMin)) {
            if (node.count == 0) {
                current = descend(nodes, node, current, slab, stack, size);
                continue;
            }
            const bool struck = leaf(node.index, node.count);
            if constexpr (kStopAtLeafHit) {
                if (struck)
                    return true;
            } else {
                found |= struck;
            }
        }
        if (size == 0)
            break;
        current = stack[--size];
    }
    return found;
}

// Nearest-hit traversal. leaf(index, count) tests the leaf's items and returns whether any of them improved
// the hit. The limit is re-read at every node, so every hit found shortens the rest of the search.
template <typename Leaf>
inline bool traverseNearest(const BvhNode* nodes, std::size_t nodeCount, const Ray& ray, Hit& hit,
                            Leaf&& leaf) {
    return traverse<false>(
        nodes, nodeCount, ray, [&] { return nearestLimit(ray, hit); }, leaf);
}

// Any-hit traversal: the boxes are limited by ray.tMax alone; leaf(index, count) returns true if an item
// blocks the ray, which ends the query.
template <typename Leaf>
inline bool traverseAny(const BvhNode* nodes, std::size_t nodeCount, const Ray& ray, Leaf&& leaf) {
    return traverse<true>(
        nodes, nodeCount, ray, [&] { return ray.tMax; }, leaf);
}

} // namespace verdanium
