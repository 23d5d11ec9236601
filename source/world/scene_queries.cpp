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

bool Scene::occluded(const Ray& ray) const {
    if (!hierarchy.nodes.empty())
        return hierarchy.occluded(ray);
    for (const auto& [key, entity] : entities)
        if (entityOccludes(*entity, ray))
            return true;
    return false;
}

} // namespace verdanium
