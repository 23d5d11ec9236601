#include "geometry/bvh.h"

#include "geometry/triangle_intersection.h"

namespace verdanium {

// The leaves read their triangles from leafTriangles, in leaf order, rather than through leafItems and the
// mesh's positions: one contiguous record per leaf, near its neighbours in the tree. The arithmetic is the
// same as intersectTriangle's on the corners, so the results are identical. The range conditions are
// combined without branching, like the triangle test itself.
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
    const SlabRay slab = makeSlabRay(ray);
    if (wide.walksExactly(slab))
        return wide.intersect<false>(slab, ray, hit, leaf);
    return binaryIntersect(nodes, slab, ray, hit, leaf);
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
    const SlabRay slab = makeSlabRay(ray);
    if (wide.walksExactly(slab))
        return wide.occluded<false>(slab, ray, leaf);
    return binaryOccluded(nodes, slab, ray, leaf);
}

} // namespace verdanium
