#include "geometry/bvh.h"

#include "geometry/bvh_traversal.h"
#include "geometry/triangle_intersection.h"

namespace verdanium {

bool MeshBvh::intersect(const Ray& ray, Hit& hit) const {
    const LeafTriangle* triangles = leafTriangles.data();
    const Geometry* mesh = owner;
    return traverseNearest(
        nodes.data(), nodes.size(), ray, hit, [&](std::uint32_t index, std::uint32_t count) {
            bool found = false;
            for (std::uint32_t item = index; item < index + count; ++item) {
                const LeafTriangle& triangle = triangles[item];
                float u, v, t;
                if (!intersectTriangleEdges(triangle.a, triangle.edge1, triangle.edge2, ray, u, v, t))
                    continue;
                if (!(t >= ray.tMin) || t > ray.tMax || t > hit.t)
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
        });
}

bool MeshBvh::occluded(const Ray& ray) const {
    const LeafTriangle* triangles = leafTriangles.data();
    return traverseAny(nodes.data(), nodes.size(), ray, [&](std::uint32_t index, std::uint32_t count) {
        for (std::uint32_t item = index; item < index + count; ++item) {
            const LeafTriangle& triangle = triangles[item];
            float u, v, t;
            if (intersectTriangleEdges(triangle.a, triangle.edge1, triangle.edge2, ray, u, v, t) &&
                t >= ray.tMin && !(t > ray.tMax))
                return true;
        }
        return false;
    });
}

} // namespace verdanium
