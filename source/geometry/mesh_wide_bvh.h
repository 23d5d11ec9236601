#pragma once

#include "foundation/math/vec3.h"
#include "geometry/binary_bvh_walk.h"
#include "geometry/bvh_node.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace verdanium {

class Geometry;

// What a mesh leaf tests: the first corner and the two edges of the triangle, made once at build time by
// exactly the subtractions the plain triangle test makes, so results stay bit-identical.
struct LeafTriangle {
    Vec3 a;
    Vec3 edge1;
    Vec3 edge2;
    std::uint32_t firstVertex = 0;
};

// Up to four triangles side by side, one lane each, coordinate by coordinate: a ray tests them with one
// vector operation per step of the triangle test. Unused lanes hold zeros (a zero determinant: never struck).
struct alignas(16) TriangleQuad {
    float a[3][4];
    float edge1[3][4];
    float edge2[3][4];
};

// An inner node of the mesh's eight-wide walk: eight lanes in two halves of four, each lane an inner node or
// a cluster below. A lane left unused holds the empty box (lower +infinity, upper -infinity), which no ray
// with a finite origin passes: its entry is +infinity and its exit -infinity on every axis, whatever the
// inverse direction, so the entry-before-exit test fails.
struct alignas(64) MeshWideNode {
    // Box planes by half, plane and lane: lower x, y, z, then upper x, y, z, for lanes 4h to 4h + 3.
    float planes[2][6][4];
    // Lane k's child as a walk reference (MeshWideBvh::inner, MeshWideBvh::cluster).
    std::uint32_t child[8];
    // Per sign octant (SlabRay::octant), the lanes in the binary walk's order: the lane visited at position
    // p in bits 3p to 3p + 2. Positions past the used lanes name unused ones.
    std::uint32_t order[8];
};
static_assert(sizeof(MeshWideNode) == 256, "an inner node is four cache lines");

// The leaves of a binary subtree of at most four, one triangle per lane: a ray tests their boxes and their
// triangles in one go instead of visiting each leaf on its own. A subtree of five to eight leaves takes two
// clusters side by side, a pair, tested together; the first one's order then covers all eight lanes, lane
// k + 4 standing for lane k of the second. What every visit reads comes first; the first vertices, read only
// for a hit, last.
struct alignas(64) MeshCluster {
    float planes[6][4];
    // Per sign octant, the lanes in the binary walk's order: the lane visited at position p in bits 3p to
    // 3p + 2. Positions past the occupied lanes name unoccupied ones.
    std::uint32_t order[8];
    // Bit k set when lane k holds a triangle.
    std::uint8_t occupied = 0;
    TriangleQuad triangles;
    // Lane k's triangle, by its first vertex.
    std::uint32_t firstVertex[4];
};
static_assert(offsetof(MeshCluster, firstVertex) <= 5 * 64 - 16, "a visit reads five cache lines at most");

// The copy of a mesh's binary tree that the mesh queries walk, up to eight children to a node and the
// triangles of each small subtree packed beside it. It answers exactly as the binary walk (binary_bvh_walk.h)
// does, by the argument of wide_bvh.h: the lanes of a node are a cut through the binary subtree below it,
// visited in the binary walk's order for the ray's sign octant; the boxes of the levels folded away are
// unions of the lanes' boxes and need no test of their own on rays whose slab distances are free of NaN; each
// lane's entry is compared with the limit again when its turn comes. In a cluster the triangles are tested
// all at once, since a triangle's u, v and t do not depend on the limit; whether a triangle is taken is then
// decided lane by lane in the walk's order against the hit of the moment, as the binary walk would.
class MeshWideBvh {
public:
    // Replaces the copy with one of `binary`, a finished mesh tree (one triangle per leaf, inner boxes the
    // unions of their children's), whose leaf items are `triangles` in leaf order. A tree that does not
    // qualify (another leaf size, a plane that is not finite) leaves the copy empty.
    void build(std::span<const BvhNode> binary, std::span<const LeafTriangle> triangles);
    void clear();
    bool empty() const { return nodes.empty() && clusters.empty(); }

    // Where this walk answers `ray` exactly as the binary walk does: sets `found` to the answer and returns
    // true. Otherwise returns false and changes nothing; the binary tree must answer. It answers where no
    // slab distance can be NaN: a finite origin, and per axis a finite nonzero inverse direction, or an
    // infinite one (a zero direction component) with the origin on none of the tree's planes of that axis,
    // where the distances are infinities of known sign instead of 0 * infinity.
    //
    // Nearest hit: the hit of MeshBvh::intersect, naming `mesh`.
    bool intersect(const Ray& ray, Hit& hit, const Geometry* mesh, bool& found) const;
    // Any hit: whether a triangle is struck within [ray.tMin, ray.tMax] in a leaf the walk reaches.
    bool occluded(const Ray& ray, bool& blocked) const;

    // A child in the walk: an inner node's or a cluster's position, shifted left by two, with bit 0 set for a
    // cluster and bit 1 for a pair of them, or for an inner node whose lanes all stand in its first half, so
    // that the walk knows what it goes to before it loads it.
    static std::uint32_t inner(std::uint32_t position, bool narrow) {
        return position << 2 | (narrow ? 2u : 0u);
    }
    static std::uint32_t cluster(std::uint32_t position, bool pair) {
        return position << 2 | (pair ? 3u : 1u);
    }

    // A finite plane's key: its bits, with -0 taken as 0, so that two planes have one key exactly where they
    // compare equal. A NaN's bits mark an empty slot, since every plane is finite.
    static std::uint32_t planeKey(float plane) {
        const auto bits = std::bit_cast<std::uint32_t>(plane);
        return bits == 0x80000000u ? 0u : bits;
    }
    static constexpr std::uint32_t kNoPlane = 0x7fc00000u;
    // The first slot a key probes in a table of `size` slots, a power of two: the high bits of a product,
    // which mix in the low bits of the mantissa too, where round coordinates keep only zeros.
    static std::uint32_t planeSlot(std::uint32_t key, std::size_t size) {
        return static_cast<std::uint32_t>((key * 0x9e3779b1u) >> (32 - std::countr_zero(size))) &
               static_cast<std::uint32_t>(size - 1);
    }

private:
    friend struct MeshWideBuilder;

    bool walksAlongPlanes(const float origin[4], const float inverse[4]) const;

    std::vector<MeshWideNode> nodes;
    std::vector<MeshCluster> clusters;
    // The root as a walk reference.
    std::uint32_t root = 0;
    // Per axis, every box plane of the tree once, by planeKey, in an open-addressed table: a plane's probe
    // starts at planeSlot and runs to the next slot until its key or kNoPlane. The leaves' planes are all of
    // them, since every inner box is a union of leaf boxes.
    std::vector<std::uint32_t> planes[3];
};

} // namespace verdanium
