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
// nonzero, which is what WideBvh::walksExactly checks for a ray; other rays take their own walk.

// The rays of one group: up to 64, all with the same origin to the bit, the same signs of direction
// (SlabRay::octant), no NaN range limit and a finite, nonzero inverse on every axis.
struct SharedOriginGroup {
    const Ray* rays = nullptr;
    Hit* hits = nullptr;
    const SlabRay* slabs = nullptr;
    // Bit i: ray i belongs to the group.
    std::uint64_t members = 0;
    // Per axis, the smallest and largest inverse direction over the members.
    float inverseLow[3] = {};
    float inverseHigh[3] = {};
    // The smallest tMin over the members.
    float tMin = 0.0f;
};

// The bound of one node for a whole group: false only if no member's exact slab test (rayHitsBox) can pass
// with a limit at or below `limit`. The planes and the origin are the members' own (`first` is any member),
// so each distance below is rounded as the member's own.
inline bool groupMayEnterBox(const BvhNode& node, const SharedOriginGroup& group, const SlabRay& first,
                             float limit) {
    float t0 = -std::numeric_limits<float>::infinity();
    float t1 = std::numeric_limits<float>::infinity();
    for (int axis = 0; axis < 3; ++axis) {
        const float toEntry = node.plane(first.entry[axis]) - first.origin[axis];
        const float toExit = node.plane(first.exit[axis]) - first.origin[axis];
        const float entryA = toEntry * group.inverseLow[axis], entryB = toEntry * group.inverseHigh[axis];
        const float exitA = toExit * group.inverseLow[axis], exitB = toExit * group.inverseHigh[axis];
        t0 = std::max(t0, std::min(entryA, entryB));
        t1 = std::min(t1, std::max(exitA, exitB));
    }
    return t0 <= t1 && t0 < limit && t1 > group.tMin;
}

// The largest nearest-hit limit over the members, a NaN limit (which rejects nothing) counting as infinite.
inline float largestLimit(const SharedOriginGroup& group) {
    float largest = -std::numeric_limits<float>::infinity();
    for (std::uint64_t left = group.members; left != 0; left &= left - 1) {
        const int i = std::countr_zero(left);
        const float limit = walkLimit(group.rays[i], group.hits[i]);
        largest = limit == limit ? std::max(largest, limit) : std::numeric_limits<float>::infinity();
        if (largest == std::numeric_limits<float>::infinity())
            break;
    }
    return largest;
}

// The group's nearest-hit walk over `nodes` (whose inner boxes are the unions of their children's, with
// finite planes). leaf(index, count, ray) tests the items of one leaf for member `ray` against its hit and
// returns whether the hit improved. Returns the members whose hit improved.
template <typename Leaf>
std::uint64_t groupIntersect(std::span<const BvhNode> nodes, const SharedOriginGroup& group, Leaf&& leaf) {
    if (nodes.empty() || group.members == 0)
        return 0;
    const SlabRay& first = group.slabs[std::countr_zero(group.members)];
    std::uint32_t stack[kWalkStackSize];
    int size = 0;
    std::uint32_t current = 0;
    std::uint64_t found = 0;
    float limit = largestLimit(group);
    for (;;) {
        const BvhNode& node = nodes[current];
        if (groupMayEnterBox(node, group, first, limit)) {
            if (node.count == 0) {
                const bool rightFirst = (first.octant >> node.axis) & 1u;
                stack[size++] = rightFirst ? current + 1 : node.index;
                current = rightFirst ? node.index : current + 1;
                continue;
            }
            std::uint64_t improved = 0;
            for (std::uint64_t left = group.members; left != 0; left &= left - 1) {
                const int i = std::countr_zero(left);
                const Ray& ray = group.rays[i];
                if (rayHitsBox(node, group.slabs[i], ray.tMin, walkLimit(ray, group.hits[i])) &&
                    leaf(node.index, node.count, i))
                    improved |= std::uint64_t(1) << i;
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
