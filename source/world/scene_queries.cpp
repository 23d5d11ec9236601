#include "geometry/hit.h"
#include "geometry/ray.h"
#include "world/entity.h"
#include "world/scene.h"

namespace verdanium {

// Until the first build the tree has no nodes, and the queries walk the map in
// key order with no box test; from then on the tree answers.

bool Scene::intersect(const Ray& ray, Hit& hit) const {
    if (!hierarchy.nodes.empty())
        return hierarchy.intersect(ray, hit);
    bool found = false;
    for (const auto& [key, entity] : entities)
        found |= intersectEntity(*entity, ray, hit);
    return found;
}

std::uint64_t Scene::intersectBatch(std::span<const Ray> rays, std::span<Hit> hits) const {
    if (!hierarchy.nodes.empty())
        return hierarchy.intersectBatch(rays, hits);
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < rays.size() && i < hits.size() && i < 64; ++i)
        if (intersect(rays[i], hits[i]))
            found |= std::uint64_t(1) << i;
    return found;
}

bool Scene::occluded(const Ray& ray) const {
    if (!hierarchy.nodes.empty())
        return hierarchy.occluded(ray);
    for (const auto& [key, entity] : entities)
        if (entityOccludes(*entity, ray))
            return true;
    return false;
}

} // namespace verdanium
