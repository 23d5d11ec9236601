#pragma once

#include <embree3/rtcore.h>

#include <map>
#include <vector>

namespace verdanium {

class Entity;
class Geometry;
class Scene;
struct Hit;
struct Ray;

// The bar for our own two-level queries: the same scene with both levels in Embree, one top scene holding an
// instance of a per-mesh Embree scene for every entity. It answers the two queries the path kernel asks, with
// the same ranges as the scene's own (the mesh level searches from t = 0 to the hit so far), so that the
// kernel traces the same paths through either. Built from a scene that must not move while this lives.
class EmbreeReferenceWorld {
public:
    explicit EmbreeReferenceWorld(const Scene& scene);
    ~EmbreeReferenceWorld();

    EmbreeReferenceWorld(const EmbreeReferenceWorld&) = delete;
    EmbreeReferenceWorld& operator=(const EmbreeReferenceWorld&) = delete;

    bool intersect(const Ray& ray, Hit& hit) const;
    bool occluded(const Ray& ray) const;

    const Scene& scene;

private:
    RTCScene topScene = nullptr;
    std::map<const Geometry*, RTCScene> meshScenes;
    // Instance id to entity, for the hit record.
    std::vector<Entity*> instances;
};

inline const Scene& sceneOf(const EmbreeReferenceWorld& world) {
    return world.scene;
}

} // namespace verdanium
