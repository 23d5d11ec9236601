#include "geometry/bvh.h"

#include "geometry/triangle_intersection.h"

namespace verdanium {

// Most rays take the eight-wide copy, which tests the triangles of a small subtree together. The others (a
// zero direction component with the origin on a box plane, a non-finite origin) walk the binary tree, whose
// leaves read their triangles from leafTriangles: the same records and the same arithmetic as the copy's, so
// the results are identical either way. The range conditions are combined without branching, like the
// triangle test itself.
bool MeshBvh::intersect(const Ray& ray, Hit& hit) const {
    const LeafTriangle* triangles = leafTriangles.data();
    const Geometry* mesh = owner;
    const auto leaf = [&](std::uint32_t index, std::uint32_t count) {
        bool found = false;
        for (std::uint32_t item = index; item < index + count; ++item) {
            const LeafTriangle& triangle = triangles[item];
            float u, v, t;
            const bool inside =
                intersectTriangleEdges(triangle.a, triangle.edge1, triangle.edge2, ray, u, v, t);
            if (!(inside & (t >= ray.tMin) & !(t > ray.tMax) & !(t > hit.t)))
                continue;
            hit.u = u;
            hit.v = v;
            hit.t = t;
            hit.geometry = mesh;
            hit.firstIndex = triangle.firstVertex;
            hit.complete = false;
            found = true;
        }
        return found;
    };
    bool found;
    if (wide.intersect(ray, hit, mesh, found))
        return found;
    return binaryIntersect(nodes, makeSlabRay(ray), ray, hit, leaf);
}

bool MeshBvh::occluded(const Ray& ray) const {
    const LeafTriangle* triangles = leafTriangles.data();
    const auto leaf = [&](std::uint32_t index, std::uint32_t count) {
        for (std::uint32_t item = index; item < index + count; ++item) {
            const LeafTriangle& triangle = triangles[item];
            float u, v, t;
            const bool inside =
                intersectTriangleEdges(triangle.a, triangle.edge1, triangle.edge2, ray, u, v, t);
            if (inside & (t >= ray.tMin) & !(t > ray.tMax))
                return true;
        }
        return false;
    };
    bool blocked;
    if (wide.occluded(ray, blocked))
        return blocked;
    return binaryOccluded(nodes, makeSlabRay(ray), ray, leaf);
}

} // namespace verdanium
