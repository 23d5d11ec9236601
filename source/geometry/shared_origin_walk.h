#pragma once

#include "geometry/binary_bvh_walk.h"
#include "geometry/bvh_node.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <span>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace verdanium {

// A nearest-hit walk of many rays at once over one binary hierarchy, for rays that leave one point: the
// camera rays of a tile. It gives every ray exactly the answer of its own binary walk (binary_bvh_walk.h):
// the same leaves tested in the same order under the same limits.
//
// Why it pays: a camera ray walks some thirty-five scene nodes to reach about one entity, and most reach
// none. Rays from one origin through neighbouring pixels walk nearly the same nodes, so the group tests a
// node once, with a conservative bound that stands for all of its rays, and skips for all of them a box
// that none can reach. Only at a leaf does each ray take its own exact test.
//
// Why it answers as each ray's own walk does, for the rays it takes (see `SharedOriginGroup`):
// - Order. The rays of a group share the signs of their directions, so the binary walk visits the children
//   of every node in the same order for all of them, and the group's depth-first walk meets the leaves in
//   each ray's own order.
// - Leaves. A ray's own walk reaches a leaf when the leaf's box and all of its ancestors' pass, each tested
//   when its turn comes with the limit of that moment. An inner box is the union of its children's, and
//   over distances free of NaN the slab test is monotonic in the planes, so the ancestors' boxes are
//   entered wherever the leaf's is; and the limit only shrinks, so the ancestors, tested earlier, passed
//   with a limit no smaller. Hence a ray reaches a leaf exactly when the leaf's own box passes with the
//   ray's limit at the leaf's turn, which is the test made here, ray by ray (rayHitsBox itself).
// - Skipped boxes. A box is skipped for the whole group only if no ray of it can pass: every ray's slab
//   distance on an axis, (plane - origin) * inverse, lies between the products with the group's smallest
//   and largest inverse (rounding is monotonic), so the group's bound on the entry distance is below each
//   ray's, its bound on the exit distance above, and a box that the bounds reject rejects every ray, and
//   every leaf below it too.
// The distances are free of NaN when the planes and the origin are finite and the inverses finite and
// nonzero, which is what WideBvh::walksExactly checks for a ray; other rays take their own walk. Without NaN
// (and with boxes that are not inside out) the binary test's chain of comparisons comes to the largest entry
// against the smallest exit, which lets the leaf test run over four rays at once.

inline constexpr int kGroupCapacity = 64;

// The rays of one group, at most 64, all with the same origin to the bit, the same signs of direction
// (SlabRay::octant), a tMin that is a number and a finite, nonzero inverse on every axis. The per-ray values
// stand in arrays by ray, four rays to a vector.
struct SharedOriginGroup {
    const Ray* rays = nullptr;
    Hit* hits = nullptr;
    // Any member's slab set-up: the origin, the planes picked per axis, the octant.
    SlabRay shared{};
    // Bit i: ray i belongs to the group.
    std::uint64_t members = 0;
    // Lanes of rays that are not members are read by the four-wide tests, and their results dropped.
    alignas(16) float inverse[3][kGroupCapacity] = {};
    alignas(16) float tMin[kGroupCapacity] = {};
    // walkLimit of each member, kept up to date as its hit improves.
    alignas(16) float limit[kGroupCapacity] = {};
    // Per axis, the smallest and largest inverse over the members; the smallest tMin.
    float inverseLow[3] = {};
    float inverseHigh[3] = {};
    float smallestTMin = 0.0f;

    // Makes ray i (slab its set-up) a member.
    void add(int i, const SlabRay& slab) {
        if (members == 0) {
            shared = slab;
            for (int axis = 0; axis < 3; ++axis)
                inverseLow[axis] = inverseHigh[axis] = slab.inverse[axis];
            smallestTMin = rays[i].tMin;
        }
        members |= std::uint64_t(1) << i;
        for (int axis = 0; axis < 3; ++axis) {
            inverse[axis][i] = slab.inverse[axis];
            inverseLow[axis] = std::min(inverseLow[axis], slab.inverse[axis]);
            inverseHigh[axis] = std::max(inverseHigh[axis], slab.inverse[axis]);
        }
        tMin[i] = rays[i].tMin;
        smallestTMin = std::min(smallestTMin, rays[i].tMin);
        limit[i] = walkLimit(rays[i], hits[i]);
    }
};

// The bound of one node for a whole group: false only if no member's exact slab test (rayHitsBox) can pass
// with a limit at or below `limit`. The planes and the origin are the members' own, so each distance below is
// rounded as the member's own.
inline bool groupMayEnterBox(const BvhNode& node, const SharedOriginGroup& group, float limit) {
    const SlabRay& shared = group.shared;
    float t0 = -std::numeric_limits<float>::infinity();
    float t1 = std::numeric_limits<float>::infinity();
    for (int axis = 0; axis < 3; ++axis) {
        const float toEntry = node.plane(shared.entry[axis]) - shared.origin[axis];
        const float toExit = node.plane(shared.exit[axis]) - shared.origin[axis];
        const float entryA = toEntry * group.inverseLow[axis], entryB = toEntry * group.inverseHigh[axis];
        const float exitA = toExit * group.inverseLow[axis], exitB = toExit * group.inverseHigh[axis];
        t0 = std::max(t0, std::min(entryA, entryB));
        t1 = std::min(t1, std::max(exitA, exitB));
    }
    return t0 <= t1 && t0 < limit && t1 > group.smallestTMin;
}

// The members whose own slab test (rayHitsBox with their limit of the moment) passes `node`.
inline std::uint64_t membersEnteringBox(const BvhNode& node, const SharedOriginGroup& group) {
    const SlabRay& shared = group.shared;
    std::uint64_t passed = 0;
#if defined(__SSE2__)
    __m128 toEntry[3], toExit[3];
    for (int axis = 0; axis < 3; ++axis) {
        toEntry[axis] = _mm_set1_ps(node.plane(shared.entry[axis]) - shared.origin[axis]);
        toExit[axis] = _mm_set1_ps(node.plane(shared.exit[axis]) - shared.origin[axis]);
    }
    for (int block = 0; block < kGroupCapacity; block += 4) {
        const unsigned lanes = static_cast<unsigned>(group.members >> block) & 15u;
        if (lanes == 0)
            continue;
        __m128 inverse = _mm_load_ps(&group.inverse[0][block]);
        __m128 t0 = _mm_mul_ps(toEntry[0], inverse);
        __m128 t1 = _mm_mul_ps(toExit[0], inverse);
        for (int axis = 1; axis < 3; ++axis) {
            inverse = _mm_load_ps(&group.inverse[axis][block]);
            t0 = _mm_max_ps(_mm_mul_ps(toEntry[axis], inverse), t0);
            t1 = _mm_min_ps(_mm_mul_ps(toExit[axis], inverse), t1);
        }
        // Rejected where t0 >= limit, as the binary test says it (a NaN limit rejects nothing).
        const __m128 passes =
            _mm_and_ps(_mm_and_ps(_mm_cmple_ps(t0, t1), _mm_cmpnge_ps(t0, _mm_load_ps(&group.limit[block]))),
                       _mm_cmpgt_ps(t1, _mm_load_ps(&group.tMin[block])));
        passed |= std::uint64_t(static_cast<unsigned>(_mm_movemask_ps(passes)) & lanes) << block;
    }
#else
    for (std::uint64_t left = group.members; left != 0; left &= left - 1) {
        const int i = std::countr_zero(left);
        SlabRay slab = shared;
        for (int axis = 0; axis < 3; ++axis)
            slab.inverse[axis] = group.inverse[axis][i];
        if (rayHitsBox(node, slab, group.tMin[i], group.limit[i]))
            passed |= std::uint64_t(1) << i;
    }
#endif
    return passed;
}

// The largest limit over the members, a NaN limit (which rejects nothing) counting as infinite.
inline float largestLimit(const SharedOriginGroup& group) {
    float largest = -std::numeric_limits<float>::infinity();
    for (std::uint64_t left = group.members; left != 0; left &= left - 1) {
        const float limit = group.limit[std::countr_zero(left)];
        if (!(limit <= largest))
            largest = limit == limit ? limit : std::numeric_limits<float>::infinity();
    }
    return largest;
}

// The group's nearest-hit walk over `nodes` (whose inner boxes are the unions of their children's, with
// finite planes and none inside out). leaf(index, count, entering) tests the items of one leaf, in order, for
// each member in the set `entering` against its own hit, and returns the set of those whose hit improved.
// Returns the members whose hit improved.
template <typename Leaf>
std::uint64_t groupIntersect(std::span<const BvhNode> nodes, SharedOriginGroup& group, Leaf&& leaf) {
    if (nodes.empty() || group.members == 0)
        return 0;
    std::uint32_t stack[kWalkStackSize];
    int size = 0;
    std::uint32_t current = 0;
    std::uint64_t found = 0;
    float limit = largestLimit(group);
    for (;;) {
        const BvhNode& node = nodes[current];
        if (groupMayEnterBox(node, group, limit)) {
            if (node.count == 0) {
                const bool rightFirst = (group.shared.octant >> node.axis) & 1u;
                stack[size++] = rightFirst ? current + 1 : node.index;
                current = rightFirst ? node.index : current + 1;
                continue;
            }
            const std::uint64_t entering = membersEnteringBox(node, group);
            const std::uint64_t improved = entering != 0 ? leaf(node.index, node.count, entering) : 0;
            for (std::uint64_t left = improved; left != 0; left &= left - 1) {
                const int i = std::countr_zero(left);
                group.limit[i] = walkLimit(group.rays[i], group.hits[i]);
            }
            if (improved != 0) {
                found |= improved;
                limit = largestLimit(group);
            }
        }
        if (size == 0)
            return found;
        current = stack[--size];
    }
}

} // namespace verdanium
