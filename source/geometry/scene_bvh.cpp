#include "geometry/scene_bvh.h"

#include "foundation/math/math_errors.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "world/entity.h"

namespace verdanium {

EntityPrimitive makeEntityPrimitive(Entity& entity) {
    const BoundingBox& radius = entity.geometry->radiusBounds;
    const Mat4& forward = entity.transform.forward;
    const Vec3 translation{forward.m[12], forward.m[13], forward.m[14]};
    EntityPrimitive primitive;
    primitive.entity = &entity;
    primitive.lower = radius.lower + translation;
    primitive.upper = radius.upper + translation;
    primitive.centroid = boxCentre(primitive.lower, primitive.upper);
    return primitive;
}

bool intersectEntity(Entity& entity, const Ray& worldRay, Hit& hit) {
    const Transform& transform = entity.transform;
    if (transform.singular)
        throwTransformationNotInvertible();
    // The inverse is read from the stored transform, never computed per ray.
    const Ray objectRay = toObjectSpace(transform.inverse, worldRay);
    if (!entity.geometry->intersect(objectRay, hit))
        return false;
    hit.entity = &entity;
    hit.complete = false;
    return true;
}

bool entityOccludes(const Entity& entity, const Ray& worldRay) {
    const Transform& transform = entity.transform;
    if (transform.singular)
        throwTransformationNotInvertible();
    return entity.geometry->occluded(toObjectSpace(transform.inverse, worldRay));
}

bool SceneBvh::intersect(const Ray& ray, Hit& hit) const {
    const auto leaf = [&](std::uint32_t index, std::uint8_t count) {
        bool found = false;
        for (std::uint32_t i = index; i < index + count; ++i)
            found |= intersectEntity(*leafItems[i], ray, hit);
        return found;
    };
    const SlabRay slab = makeSlabRay(ray);
    if (wide_.walksExactly(slab))
        return wide_.intersect<true>(slab, ray, hit, leaf);
    return binaryIntersect(nodes, slab, ray, hit, leaf);
}

bool SceneBvh::occluded(const Ray& ray) const {
    const auto leaf = [&](std::uint32_t index, std::uint8_t count) {
        for (std::uint32_t i = index; i < index + count; ++i)
            if (entityOccludes(*leafItems[i], ray))
                return true;
        return false;
    };
    const SlabRay slab = makeSlabRay(ray);
    if (wide_.walksExactly(slab))
        return wide_.occluded<true>(slab, ray, leaf);
    return binaryOccluded(nodes, slab, ray, leaf);
}

} // namespace verdanium
