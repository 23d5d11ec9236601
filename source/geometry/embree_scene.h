#pragma once

#include "foundation/math/vec3.h"

#include <embree3/rtcore.h>

#include <span>

namespace verdanium {

class Geometry;
struct Hit;
struct Ray;

// Embree's acceleration structure over one mesh: one scene with one triangle geometry over the unwelded
// corners, triangle i being corners 3i, 3i + 1, 3i + 2, so that a hit names its triangle by 3 * primID, the
// same first-vertex index our own hierarchy reports. Built once; queried by all render threads at once.
class EmbreeScene {
public:
    EmbreeScene() = default;
    ~EmbreeScene();
    EmbreeScene(const EmbreeScene&) = delete;
    EmbreeScene& operator=(const EmbreeScene&) = delete;

    // Builds over all complete triangles of the corner positions, releasing any scene held before.
    void build(std::span<const Vec3> positions);
    // False until build has run (a mesh whose file failed to load never builds one).
    bool isBuilt() const { return scene != nullptr; }

    // Nearest hit within [ray.tMin, min(ray.tMax, hit.t)]. On true, hit.u, v, t and firstIndex describe it,
    // hit.geometry is the given mesh and hit.complete is cleared. An unbuilt scene hits nothing.
    bool intersect(const Ray& ray, Hit& hit, const Geometry* geometry) const;
    // Any hit within [ray.tMin, ray.tMax]. An unbuilt scene hits nothing.
    bool occluded(const Ray& ray) const;

private:
    RTCScene scene = nullptr;
};

} // namespace verdanium
