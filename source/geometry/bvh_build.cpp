#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/triangle_intersection.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace verdanium {

void MeshBvh::build(std::span<const Vec3> positions) {
    buildOver(positions, 0, positions.size());
}

void MeshBvh::build(TriangleRef first, TriangleRef last) {
    buildOver(first.geometry->positions, first.firstVertex, last.firstVertex);
}

void MeshBvh::buildOver(std::span<const Vec3> positions, std::size_t firstVertex, std::size_t lastVertex) {
    // First-vertex indices are 32 bits wide in the build records and the leaf items.
    if (positions.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("vector<T> too long");
    lastVertex = std::min(lastVertex, positions.size());

    clearKeepingCapacity();
    leafTriangles.clear();
    wide.clear();

    // Whole triangles only, in vertex order: a trailing corner or two that make no triangle are never read.
    primitives.reserve(lastVertex > firstVertex ? (lastVertex - firstVertex) / 3 : 0);
    for (std::size_t first = firstVertex; first + 2 < lastVertex; first += 3) {
        BoundingBox box;
        box.extend(positions[first]);
        box.extend(positions[first + 1]);
        box.extend(positions[first + 2]);
        primitives.push_back(TrianglePrimitive{static_cast<std::uint32_t>(first), box.lower, box.upper,
                                               boxCentre(box.lower, box.upper)});
    }

    buildFromPrimitives([](const TrianglePrimitive& primitive) { return primitive.firstVertex; });

    leafTriangles.reserve(leafItems.size());
    for (const std::uint32_t first : leafItems) {
        const Vec3& a = positions[first];
        leafTriangles.push_back(LeafTriangle{a, triangleEdge(a, positions[first + 1]),
                                             triangleEdge(a, positions[first + 2]), first});
    }
    wide.build(nodes, leafTriangles);
}

// Both structures are always built, whatever the intersector setting says, so that it can be switched while
// the program runs.
void Geometry::buildAcceleration() {
    accel.build(positions);
    bvh.build(TriangleRef{this, 0}, TriangleRef{this, positions.size()});
}

} // namespace verdanium
