#pragma once

#include "geometry/bvh_node.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace verdanium {

// A four-wide copy of a finished binary hierarchy, made for traversal only. Each wide node holds the boxes
// of the (up to four) grandchildren of one binary inner node, a leaf child standing in for its own
// children, so a ray tests four boxes with one vector comparison where the binary walk would visit them
// one by one through two levels of mispredicted branches.
//
// On incoherent rays the binary walk is bound by latency, not arithmetic: each node's address depends on
// the previous node, and whether a box is entered is close to a coin toss, so about every other node costs
// a mispredicted branch. At the scene level, whose boxes are loose cubes that overlap heavily, a ray walked
// some thirty-five binary nodes to reach about one entity, and most rays reach none at all. The wide walk
// takes a third of the dependent steps and decides four boxes per branch; it made the scene level's share
// of a frame about half what it was and a mesh's queries about a third faster (where tuning the binary walk
// itself, with SSE tests of one box or both children, or a branch-free descend, had only lost).
//
// The binary tree stays the hierarchy of record: its build rules define the boxes, and this copy is made
// again after every build.
struct alignas(64) WideBvhNode {
    // Box planes by plane, one lane per child: lower x, y, z, then upper x, y, z. Lane k of plane p sits
    // at planes[p][k], so a ray picks its entry and exit planes per axis once, by its direction's signs.
    float planes[6][4];
    // Lane k: for an inner child, the position of its wide node; for a leaf, the binary leaf's first item.
    std::uint32_t child[4];
    // Lane k: 0 for an inner child, else the leaf's item count.
    std::uint8_t count[4];
    // Bit k set when lane k holds a child.
    std::uint8_t occupied = 0;
};
static_assert(sizeof(WideBvhNode) == 128, "a wide node is two cache lines");

class WideBvh {
public:
    // Replaces the copy with one of `binary`, a tree in the layout of BvhNode (pre-order, left child
    // next). Keeps the array's capacity, so once it has grown a rebuild allocates nothing.
    void build(std::span<const BvhNode> binary);
    void clear() { nodes.clear(); }
    bool empty() const { return nodes.empty(); }

    // Nearest-hit walk: leaf(index, count) tests the items of one binary leaf and returns whether the hit
    // improved. Children are visited nearest entry first, and a child whose entry lies at or beyond the hit
    // found meanwhile is skipped. A box is rejected only when the ray's range misses it (a NaN from a ray
    // along a slab plane keeps the box), so the nearest t is the one of any complete search; only among
    // items struck at exactly the same t can the one named differ, as it is the last of them tested.
    template <typename Leaf>
    bool intersect(const Ray& ray, Hit& hit, Leaf&& leaf) const;

    // Any-hit walk: ends at the first leaf that returns true. The boxes are limited by ray.tMax.
    template <typename Leaf>
    bool occluded(const Ray& ray, Leaf&& leaf) const;

    std::vector<WideBvhNode> nodes;

private:
    std::uint32_t emit(std::span<const BvhNode> binary, std::uint32_t node);
};

// The per-ray part of the four-lane box test.
struct WideRay {
    float origin[3];
    float inverse[3];
    // Plane rows of entry and exit per axis, by the sign of the direction.
    std::uint32_t entry[3];
    std::uint32_t exit[3];
    float tMin;
};

WideRay makeWideRay(const Ray& ray);

// Tests the four boxes of `node` against the range [ray.tMin, limit]. Writes each lane's entry distance
// and returns the bits of the lanes entered (occupied lanes only).
inline unsigned wideSlabHits(const WideBvhNode& node, const WideRay& ray, float limit, float entry[4]) {
#if defined(__SSE2__)
    // _mm_max_ps / _mm_min_ps return their second operand when either is NaN: with the range bound second
    // in the innermost call and each partial result second after that, a NaN distance drops out instead of
    // rejecting the box.
    __m128 t0 = _mm_set1_ps(ray.tMin);
    __m128 t1 = _mm_set1_ps(limit);
    for (int axis = 0; axis < 3; ++axis) {
        const __m128 origin = _mm_set1_ps(ray.origin[axis]);
        const __m128 inverse = _mm_set1_ps(ray.inverse[axis]);
        const __m128 near =
            _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.planes[ray.entry[axis]]), origin), inverse);
        const __m128 far = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.planes[ray.exit[axis]]), origin), inverse);
        t0 = _mm_max_ps(near, t0);
        t1 = _mm_min_ps(far, t1);
    }
    _mm_storeu_ps(entry, t0);
    return static_cast<unsigned>(_mm_movemask_ps(_mm_cmple_ps(t0, t1))) & node.occupied;
#else
    unsigned mask = 0;
    for (int lane = 0; lane < 4; ++lane) {
        float t0 = ray.tMin;
        float t1 = limit;
        for (int axis = 0; axis < 3; ++axis) {
            const float near = (node.planes[ray.entry[axis]][lane] - ray.origin[axis]) * ray.inverse[axis];
            const float far = (node.planes[ray.exit[axis]][lane] - ray.origin[axis]) * ray.inverse[axis];
            t0 = near > t0 ? near : t0;
            t1 = far < t1 ? far : t1;
        }
        entry[lane] = t0;
        mask |= (t0 <= t1 ? 1u : 0u) << lane;
    }
    return mask & node.occupied;
#endif
}

// Depth of the fixed stacks: each wide level pushes at most three children, and a wide tree is half as
// deep as its binary tree (about log2(n) levels for the median split), so 64 entries cannot be reached.
inline constexpr int kWideStackSize = 64;

template <typename Leaf>
bool WideBvh::intersect(const Ray& ray, Hit& hit, Leaf&& leaf) const {
    if (nodes.empty())
        return false;
    const WideRay wide = makeWideRay(ray);
    // The stack as three parallel arrays, each field moved by its own load and store: an entry copied as
    // one record is read back with wider loads than it was written with, which defeats store forwarding.
    float entries[kWideStackSize];
    std::uint32_t children[kWideStackSize];
    std::uint8_t counts[kWideStackSize];
    int size = 1;
    entries[0] = ray.tMin;
    children[0] = 0;
    counts[0] = 0;
    bool found = false;
    while (size > 0) {
        --size;
        const float limit = ray.tMax < hit.t ? ray.tMax : hit.t;
        if (entries[size] >= limit)
            continue;
        if (counts[size] != 0) {
            found |= leaf(children[size], counts[size]);
            continue;
        }
        const WideBvhNode& node = nodes[children[size]];
        float entry[4];
        unsigned mask = wideSlabHits(node, wide, limit, entry);
        // Pushed farthest first, so that the nearest child is taken next: an insertion into the few
        // entries above the current top.
        const int base = size;
        while (mask != 0) {
            const int lane = std::countr_zero(mask);
            mask &= mask - 1;
            int position = size++;
            while (position > base && entries[position - 1] < entry[lane]) {
                entries[position] = entries[position - 1];
                children[position] = children[position - 1];
                counts[position] = counts[position - 1];
                --position;
            }
            entries[position] = entry[lane];
            children[position] = node.child[lane];
            counts[position] = node.count[lane];
        }
    }
    return found;
}

template <typename Leaf>
bool WideBvh::occluded(const Ray& ray, Leaf&& leaf) const {
    if (nodes.empty())
        return false;
    const WideRay wide = makeWideRay(ray);
    std::uint32_t stack[kWideStackSize];
    int size = 0;
    stack[size++] = 0;
    while (size > 0) {
        const WideBvhNode& node = nodes[stack[--size]];
        float entry[4];
        unsigned mask = wideSlabHits(node, wide, ray.tMax, entry);
        while (mask != 0) {
            const int lane = std::countr_zero(mask);
            mask &= mask - 1;
            if (node.count[lane] == 0)
                stack[size++] = node.child[lane];
            else if (leaf(node.child[lane], node.count[lane]))
                return true;
        }
    }
    return false;
}

} // namespace verdanium
