// The rasterising walk over the scene: the background first, then every entity
// in key order.
#include "world/scene.h"

#include "raster/background.h"
#include "tracer/camera.h"
#include "world/entity.h"

namespace verdanium {

void Scene::rasterize(RenderMode mode, const Camera& lens) {
    const Mat4& projection = lens.projection.forward;
    // The background writes no depth, so it must come before anything that lies
    // in front of it.
    if (background)
        background->rasterize(mode, projection, camera);
    for (const auto& [key, entity] : entities)
        entity->rasterize(mode, projection, camera);
}

} // namespace verdanium
