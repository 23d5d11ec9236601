#pragma once

#include "geometry/binary_bvh_walk.h"
#include "geometry/bvh_node.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <bit>
#include <cstdint>
#include <limits>
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
// takes a third of the dependent steps and decides four boxes per branch; on an asteroid the binary walk
// takes about 1.5 times as long per ray.
//
// The binary tree stays the hierarchy of record, and the wide walk answers exactly as the binary walk of
// binary_bvh_walk.h does: the same leaves tested in the same order against the same limits, hence the same
// hit to the bit. Three things make that so:
// - Order. The binary walk takes the child on the near side of a node's axis by the ray's sign alone, so
//   the order of a wide node's four lanes is fixed per sign octant; the copy stores it for all eight.
// - Time. A box passes if it is entered at all (a test independent of the hit) and its entry t0 lies short
//   of the limit read when its turn comes. The wide walk tests a lane's box when it reaches the wide node
//   and compares the stored t0 with the limit again when the lane's turn comes; the limit only shrinks, so
//   the first comparison drops nothing the second would keep.
// - The folded level. The binary walk also tests the root's box and those of the inner children that a
//   wide node skips. Such a box is the union of its children's, and over finite numbers the slab distances
//   are monotonic in the planes, so whenever a grandchild passes, its parent passed at its own, earlier
//   turn; and a grandchild of a parent that failed fails too. That needs distances free of NaN: finite
//   planes with no axis inside out (checked by the copy) and a ray with a finite origin and finite, nonzero
//   inverses. Any other ray, such as one with a zero direction component, takes the binary walk.
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
    // Per sign octant (SlabRay::octant), the lanes in the binary walk's order: the lane visited at position
    // p in bits 2p and 2p + 1. Positions past the occupied lanes name unoccupied ones.
    std::uint8_t order[8];
};
static_assert(sizeof(WideBvhNode) == 128, "a wide node is two cache lines");

class WideBvh {
public:
    // Replaces the copy with one of `binary`, a tree in the layout of BvhNode (pre-order, left child
    // next) whose inner boxes are the unions of their children's, as both builds make them. Keeps the
    // array's capacity, so once it has grown a rebuild allocates nothing.
    void build(std::span<const BvhNode> binary);
    // The same copy of `binary`, a tree of the shape of the one the last build copied (the same leaves and
    // right-child positions; boxes and axes may differ): each wide node's boxes and lane orders are made
    // again where they stand, in one pass with no recursion, for the scene's tree, which keeps its shape
    // from step to step. Any other tree is built afresh.
    void refit(std::span<const BvhNode> binary);
    // The same refit in pieces, for a caller that finishes the binary nodes from the last to the first and
    // would otherwise read them all back: startRefit returns whether `binary` has the shape of the tree the
    // last build copied (if not, build instead); then refitAt(binary, k) for every k from the last node
    // down to 0, each once node k and every node after it are final; then finishRefit. Each wide node is
    // made when the last of its binary nodes is, while they are still in cache.
    bool startRefit(std::span<const BvhNode> binary);
    void refitAt(std::span<const BvhNode> binary, std::size_t k) {
        if (refitCursor_ != 0 && sources_[refitCursor_ - 1].split == k)
            refitNode(binary, --refitCursor_);
    }
    void finishRefit(std::span<const BvhNode> binary);
    void clear() {
        nodes.clear();
        sources_.clear();
        foldable = false;
    }
    bool empty() const { return nodes.empty(); }

    // Whether this walk answers `slab`'s ray as the binary walk does (see above); otherwise walk the binary
    // tree.
    bool walksExactly(const SlabRay& slab) const { return foldable && slab.finite; }

    // Nearest-hit walk: leaf(index, count) tests the items of one binary leaf and returns whether the hit
    // improved. The hit then names the nearest item struck at or before the limit among the leaves reached,
    // the last tested of equal ones. That is the item the binary walk names; it is not always the one a
    // search of every leaf would find: a leaf whose box entry rounds to the t of the hit found meanwhile is
    // skipped, even where its item lies an ulp nearer, and among items at the same t the order decides.
    // Only for rays on which walksExactly holds. kSparse: most nodes are expected to pass no lane or one
    // (the scene's loose boxes), which then skip the ordered push at the cost of two branches; where lanes
    // pass often (a mesh's tight boxes) those branches would be mispredicted.
    template <bool kSparse, typename Leaf>
    bool intersect(const SlabRay& slab, const Ray& ray, Hit& hit, Leaf&& leaf) const;

    // Any-hit walk: ends at the first leaf that returns true. The boxes are limited by ray.tMax, so the
    // answer is the same in any order; kInOrder keeps the binary walk's order all the same, for leaves
    // whose test can throw (an entity's transform), where the order decides which leaf is reached first.
    // Only for rays on which walksExactly holds.
    template <bool kInOrder, typename Leaf>
    bool occluded(const SlabRay& slab, const Ray& ray, Leaf&& leaf) const;

    std::vector<WideBvhNode> nodes;

private:
    std::uint32_t emit(std::span<const BvhNode> binary, std::uint32_t node);
    // Makes wide node k again from `binary`, noting in refitFinite_ whether its lanes are finite.
    void refitNode(std::span<const BvhNode> binary, std::size_t k);
    // Per wide node, where the last build took it from: the binary inner node it stands for, and the
    // binary node of each occupied lane.
    struct Source {
        std::uint32_t split;
        std::uint32_t lanes[4];
    };
    std::vector<Source> sources_;
    // The length of the binary tree that the last build copied.
    std::size_t binarySize_ = 0;
    // The refit in pieces: the wide nodes [0, refitCursor_) are still to be made, and whether those made
    // so far have finite lanes.
    std::size_t refitCursor_ = 0;
    bool refitFinite_ = true;
    // Every plane of the binary tree finite and each box holding its children's.
    bool foldable = false;
};

// The per-ray constants of the four-wide slab test: a SlabRay's origin, inverses and tMin spread over the
// four lanes once per walk, rather than at every node (and again after every leaf's call, which may take
// the registers).
struct WideSlab {
    explicit WideSlab(const SlabRay& ray, float tMin) : ray(ray) {
#if defined(__SSE2__)
        for (int axis = 0; axis < 3; ++axis) {
            origin[axis] = _mm_set1_ps(ray.origin[axis]);
            inverse[axis] = _mm_set1_ps(ray.inverse[axis]);
        }
        this->tMin = _mm_set1_ps(tMin);
#else
        this->tMin = tMin;
#endif
    }
    const SlabRay& ray;
#if defined(__SSE2__)
    __m128 origin[3];
    __m128 inverse[3];
    __m128 tMin;
#else
    float tMin;
#endif
};

// Tests the four boxes of `node` against the range from tMin to limit: a lane passes if its entry t0 is short
// of the limit, its exit t1 beyond tMin and its entry not beyond its exit. Writes each lane's t0 and returns
// the bits of the lanes passed (occupied lanes only). For a ray on which walksExactly holds, where no
// distance is NaN: then this is the binary slab test, whose entry and exit come to the largest entry and the
// smallest exit.
inline unsigned wideSlabHits(const WideBvhNode& node, const WideSlab& wide, float limit, float entry[4]) {
    const SlabRay& ray = wide.ray;
#if defined(__SSE2__)
    const auto distances = [&](int axis, __m128& near, __m128& far) {
        near = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.planes[ray.entry[axis]]), wide.origin[axis]),
                          wide.inverse[axis]);
        far = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.planes[ray.exit[axis]]), wide.origin[axis]),
                         wide.inverse[axis]);
    };
    __m128 t0, t1;
    distances(0, t0, t1);
    for (int axis = 1; axis < 3; ++axis) {
        __m128 near, far;
        distances(axis, near, far);
        t0 = _mm_max_ps(near, t0);
        t1 = _mm_min_ps(far, t1);
    }
    _mm_storeu_ps(entry, t0);
    // Rejected where t0 >= limit, as the binary test says it (a NaN limit rejects nothing).
    const __m128 passes = _mm_and_ps(_mm_and_ps(_mm_cmple_ps(t0, t1), _mm_cmpnge_ps(t0, _mm_set1_ps(limit))),
                                     _mm_cmpgt_ps(t1, wide.tMin));
    return static_cast<unsigned>(_mm_movemask_ps(passes)) & node.occupied;
#else
    const float tMin = wide.tMin;
    unsigned mask = 0;
    for (int lane = 0; lane < 4; ++lane) {
        float t0 = -std::numeric_limits<float>::infinity();
        float t1 = std::numeric_limits<float>::infinity();
        for (int axis = 0; axis < 3; ++axis) {
            const float near = (node.planes[ray.entry[axis]][lane] - ray.origin[axis]) * ray.inverse[axis];
            const float far = (node.planes[ray.exit[axis]][lane] - ray.origin[axis]) * ray.inverse[axis];
            t0 = near > t0 ? near : t0;
            t1 = far < t1 ? far : t1;
        }
        entry[lane] = t0;
        mask |= ((t0 <= t1) & !(t0 >= limit) & (t1 > tMin) ? 1u : 0u) << lane;
    }
    return mask & node.occupied;
#endif
}

template <bool kSparse, typename Leaf>
bool WideBvh::intersect(const SlabRay& slab, const Ray& ray, Hit& hit, Leaf&& leaf) const {
    if (nodes.empty())
        return false;
    // The stack as three parallel arrays, each field moved by its own load and store: an entry copied as
    // one record is read back with wider loads than it was written with, which defeats store forwarding.
    // Four spare entries: a wide node writes all four lanes and keeps those that passed.
    const WideSlab wide(slab, ray.tMin);
    float entries[kWalkStackSize + 4];
    std::uint32_t children[kWalkStackSize + 4];
    std::uint8_t counts[kWalkStackSize + 4];
    // The root's own box: over finite distances it is entered whenever a box below it is, so only a limit
    // of -infinity (which rejects every box) must stop the walk here.
    int size = 1;
    entries[0] = -std::numeric_limits<float>::infinity();
    children[0] = 0;
    counts[0] = 0;
    bool found = false;
    while (size > 0) {
        --size;
        const float limit = walkLimit(ray, hit);
        if (entries[size] >= limit)
            continue;
        if (counts[size] != 0) {
            found |= leaf(children[size], counts[size]);
            continue;
        }
        const WideBvhNode& node = nodes[children[size]];
        float entry[4];
        const unsigned mask = wideSlabHits(node, wide, limit, entry);
        if constexpr (kSparse) {
            if (mask == 0)
                continue;
            if ((mask & (mask - 1)) == 0) {
                const int lane = std::countr_zero(mask);
                entries[size] = entry[lane];
                children[size] = node.child[lane];
                counts[size++] = node.count[lane];
                continue;
            }
        }
        // Pushed last visited first; every lane is written and only those that passed are kept, which
        // costs less than a branch per lane that the ray decides at random.
        const unsigned order = node.order[slab.octant];
        for (int position = 3; position >= 0; --position) {
            const unsigned lane = (order >> (2 * position)) & 3u;
            entries[size] = entry[lane];
            children[size] = node.child[lane];
            counts[size] = node.count[lane];
            size += static_cast<int>((mask >> lane) & 1u);
        }
    }
    return found;
}

template <bool kInOrder, typename Leaf>
bool WideBvh::occluded(const SlabRay& slab, const Ray& ray, Leaf&& leaf) const {
    if (nodes.empty())
        return false;
    const WideSlab wide(slab, ray.tMin);
    // The limit never changes, so a lane that passed stays passed: no entry distances on the stack.
    std::uint32_t children[kWalkStackSize + 4];
    std::uint8_t counts[kWalkStackSize + 4];
    int size = 1;
    children[0] = 0;
    counts[0] = 0;
    while (size > 0) {
        --size;
        if constexpr (kInOrder) {
            if (counts[size] != 0) {
                if (leaf(children[size], counts[size]))
                    return true;
                continue;
            }
        }
        const WideBvhNode& node = nodes[children[size]];
        float entry[4];
        unsigned mask = wideSlabHits(node, wide, ray.tMax, entry);
        if constexpr (kInOrder) {
            if (mask == 0)
                continue;
            if ((mask & (mask - 1)) == 0) {
                const int lane = std::countr_zero(mask);
                children[size] = node.child[lane];
                counts[size++] = node.count[lane];
                continue;
            }
            const unsigned order = node.order[slab.octant];
            for (int position = 3; position >= 0; --position) {
                const unsigned lane = (order >> (2 * position)) & 3u;
                children[size] = node.child[lane];
                counts[size] = node.count[lane];
                size += static_cast<int>((mask >> lane) & 1u);
            }
        } else {
            // Leaves at once, in lane order; only inner children go on the stack.
            while (mask != 0) {
                const int lane = std::countr_zero(mask);
                mask &= mask - 1;
                if (node.count[lane] == 0)
                    children[size++] = node.child[lane];
                else if (leaf(node.child[lane], node.count[lane]))
                    return true;
            }
        }
    }
    return false;
}

} // namespace verdanium
