#include "geometry/bvh.h"

#include "geometry/triangle_intersection.h"

#include <limits>
#include <stdexcept>

namespace verdanium {

void MeshBvh::build(std::span<const Vec3> positions) {
    // First-vertex indices are 32 bits wide in the build records and the leaf items.
    if (positions.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("vector<T> too long");

    clearKeepingCapacity();
    leafTriangles.clear();

    // Only complete triangles: a trailing corner or two that make no triangle are never read.
    const std::size_t numTriangles = positions.size() / 3;
    primitives.reserve(numTriangles);
    for (std::size_t triangle = 0; triangle < numTriangles; ++triangle) {
        const std::size_t first = 3 * triangle;
        BoundingBox box;
        box.extend(positions[first]);
        box.extend(positions[first + 1]);
        box.extend(positions[first + 2]);
        primitives.push_back(TrianglePrimitive{static_cast<std::uint32_t>(first), box.lower, box.upper,
                                               boxCentre(box.lower, box.upper)});
    }

    buildFromPrimitives([](const TrianglePrimitive& primitive) { return primitive.firstVertex; });

    leafTriangles.reserve(leafItems.size());
    for (const std::uint32_t firstVertex : leafItems) {
        const Vec3& a = positions[firstVertex];
        leafTriangles.push_back(LeafTriangle{a, triangleEdge(a, positions[firstVertex + 1]),
                                             triangleEdge(a, positions[firstVertex + 2]), firstVertex});
    }
}

} // namespace verdanium
