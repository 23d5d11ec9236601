#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/intersector_mode.h"
#include "geometry/ray.h"
#include "geometry/triangle_intersection.h"

namespace verdanium {

bool intersectTriangle(const TriangleRef& ref, const Ray& ray, Hit& hit) {
    const Vec3* corners = ref.geometry->positions.data() + ref.firstVertex;
    return intersectTriangle(corners[0], corners[1], corners[2], ref, ray, hit);
}

bool occludedByTriangle(const TriangleRef& ref, const Ray& ray) {
    const Vec3* corners = ref.geometry->positions.data() + ref.firstVertex;
    return occludedByTriangle(corners[0], corners[1], corners[2], ray);
}

// The structure that answers is chosen per call, so the intersector setting takes effect at the very next
// ray with nothing rebuilt. Both structures name a triangle by its first corner.
bool Geometry::intersect(const Ray& ray, Hit& hit) const {
    if (gIntersectorMode == 1)
        return accel.intersect(ray, hit, this);
    if (!bvh.nodes.empty())
        return bvh.intersect(ray, hit);
    // No tree (the mesh never built one): every complete triangle, without stopping at a hit.
    bool found = false;
    for (std::uint64_t first = 0; first + 2 < positions.size(); first += 3)
        found |= intersectTriangle(TriangleRef{this, first}, ray, hit);
    return found;
}

bool Geometry::occluded(const Ray& ray) const {
    if (gIntersectorMode == 1)
        return accel.occluded(ray);
    if (!bvh.nodes.empty())
        return bvh.occluded(ray);
    for (std::uint64_t first = 0; first + 2 < positions.size(); first += 3)
        if (occludedByTriangle(TriangleRef{this, first}, ray))
            return true;
    return false;
}

} // namespace verdanium
