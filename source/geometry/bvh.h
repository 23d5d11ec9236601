#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bounding_box.h"
#include "geometry/bvh_node.h"
#include "geometry/mesh_wide_bvh.h"
#include "geometry/triangle_ref.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace verdanium {

class Geometry;
struct Hit;
struct Ray;

// Build record of one mesh triangle.
struct TrianglePrimitive {
    // First corner in the mesh's positions; a multiple of 3.
    std::uint32_t firstVertex = 0;
    Vec3 lower;
    Vec3 upper;
    // Centre of the box (not the mean of the corners): the value the median split orders by.
    Vec3 centroid;
};

// Makes the centre of a box per axis as 0.5 * upper + 0.5 * lower, the rule both levels share.
inline Vec3 boxCentre(const Vec3& lower, const Vec3& upper) {
    return Vec3{0.5f * upper.x + 0.5f * lower.x, 0.5f * upper.y + 0.5f * lower.y,
                0.5f * upper.z + 0.5f * lower.z};
}

// The split axis of an inner node, from the box of its primitives' centroids: x only if its extent is the
// largest outright, otherwise z if y's extent does not exceed z's, otherwise y. So ties leave x, a tie of y
// and z goes to z, and a box of one point (all extents 0) splits on z. Both levels split by this rule.
inline std::uint8_t splitAxis(const BoundingBox& centroids) {
    const float ex = std::fabs(centroids.upper.x - centroids.lower.x);
    const float ey = std::fabs(centroids.upper.y - centroids.lower.y);
    const float ez = std::fabs(centroids.upper.z - centroids.lower.z);
    return (ex > ey && ex > ez) ? 0 : (ey <= ez ? 2 : 1);
}

// The order of the median selection on one centroid coordinate: exactly < on numbers, with every NaN after
// all numbers, so that it stays a strict weak ordering (a plain < on NaN would let the selection misbehave).
inline bool centroidKeyBefore(float a, float b) {
    return a < b || (!std::isnan(a) && std::isnan(b));
}

// The binary hierarchy of both levels: storage and the median build. A level fills `primitives` (records with
// `lower`, `upper` and `centroid` members) and calls buildFromPrimitives; the queries walk a four-wide copy
// of the finished tree (wide_bvh.h).
//
// Leaves hold exactly one item (the tree has 2n - 1 nodes for n >= 1); the split is the object median along
// the longest axis of the centroids' box, with no surface-area heuristic.
template <typename Primitive, typename LeafItem, typename Owner>
class Bvh {
public:
    explicit Bvh(Owner* owner = nullptr) : owner(owner) {}

    // The empty box; never updated, kept for layout only.
    BoundingBox bounds;
    // The object holding this tree, passed on by the traversal (the mesh of a triangle, the scene).
    Owner* owner;
    // Build records, left in the order the build permuted them into.
    std::vector<Primitive> primitives;
    std::vector<BvhNode> nodes;
    // What the leaves refer to, in the final order of `primitives`.
    std::vector<LeafItem> leafItems;

    // Empties the three arrays but keeps their capacity, so that a rebuild (every step at the scene level)
    // allocates nothing once the arrays have reached their size.
    void clearKeepingCapacity() {
        primitives.clear();
        nodes.clear();
        leafItems.clear();
    }

    // Builds `nodes` over all of `primitives` and then fills `leafItems` with itemOf(primitive) in the final
    // order. A tree over no primitives is a single root with count 0 and the empty box, which no ray enters.
    template <typename ItemOf>
    void buildFromPrimitives(ItemOf itemOf) {
        // Four per primitive, though only 2n - 1 are used: the array must never move during the recursion.
        nodes.reserve(4 * primitives.size());
        buildRange(0, primitives.size());
        leafItems.reserve(primitives.size());
        for (const Primitive& primitive : primitives)
            leafItems.push_back(itemOf(primitive));
    }

private:
    void buildRange(std::size_t first, std::size_t last) {
        const std::size_t n = last - first;
        const std::size_t self = nodes.size();
        nodes.push_back(BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0});

        if (n <= 1) {
            BoundingBox box;
            for (std::size_t i = first; i < last; ++i)
                box.extend(BoundingBox{primitives[i].lower, primitives[i].upper});
            BvhNode& leaf = nodes[self];
            leaf.lower = box.lower;
            leaf.upper = box.upper;
            leaf.count = static_cast<std::uint8_t>(n);
            leaf.index = static_cast<std::uint32_t>(first);
            return;
        }

        BoundingBox centroids;
        for (std::size_t i = first; i < last; ++i)
            centroids.extend(primitives[i].centroid);
        const std::uint8_t axis = splitAxis(centroids);
        nodes[self].axis = axis;

        // Object median: the left side gets floor(n / 2). nth_element is the selection the tree is defined
        // by; it is linear on average, where a full sort per level would make the build O(n log^2 n). The
        // order it leaves within the halves has no meaning.
        const std::size_t mid = first + n / 2;
        const auto key = [axis](const Primitive& p) {
            return axis == 0 ? p.centroid.x : (axis == 1 ? p.centroid.y : p.centroid.z);
        };
        std::nth_element(
            primitives.begin() + first, primitives.begin() + mid, primitives.begin() + last,
            [&key](const Primitive& a, const Primitive& b) { return centroidKeyBefore(key(a), key(b)); });

        buildRange(first, mid);
        nodes[self].index = static_cast<std::uint32_t>(nodes.size());
        buildRange(mid, last);

        BoundingBox box{nodes[self + 1].lower, nodes[self + 1].upper};
        const BvhNode& right = nodes[nodes[self].index];
        box.extend(BoundingBox{right.lower, right.upper});
        nodes[self].lower = box.lower;
        nodes[self].upper = box.upper;
    }
};

// The hierarchy of one mesh: leaf items are first-vertex indices.
class MeshBvh : public Bvh<TrianglePrimitive, std::uint32_t, const Geometry> {
public:
    explicit MeshBvh(const Geometry* owner = nullptr) : Bvh(owner) {}

    // Builds over the triangles of the owner's positions from first to last (vertex 0 and numVertices for
    // the whole mesh); both refer to the owner.
    void build(TriangleRef first, TriangleRef last);
    // Builds over all complete triangles of the given corner positions (three per triangle).
    void build(std::span<const Vec3> positions);

    // Nearest hit: true if a triangle at t within [ray.tMin, ray.tMax] and not beyond hit.t was struck in a
    // leaf the walk reaches; the hit then names the last such triangle tested at the smallest t, in the
    // binary walk's order (binary_bvh_walk.h), which the wide walk keeps. Returns false at once with no
    // nodes.
    bool intersect(const Ray& ray, Hit& hit) const;
    // Any hit within [ray.tMin, ray.tMax] in a leaf the walk reaches; true exactly when intersect from a hit
    // at +infinity is.
    bool occluded(const Ray& ray) const;

private:
    void buildOver(std::span<const Vec3> positions, std::size_t firstVertex, std::size_t lastVertex);

    // The triangles of the leaves in leaf order, for the rays that take the binary walk.
    std::vector<LeafTriangle> leafTriangles;
    // What the queries walk: the finished tree, up to eight children to a node, triangles packed by cluster.
    MeshWideBvh wide;
};

} // namespace verdanium
