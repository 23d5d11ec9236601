#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

struct ConeLight;
struct Ray;
class Scene;

struct LightSample {
    Vec3 direction; // unit, world space, towards the light
    Vec3 radiance;
    float density = 0; // 1 / solid angle of the cone
};

// A direction drawn uniformly over the cone of a distant light (two values of gRandom).
LightSample sampleConeLight(const ConeLight& light);

// What a ray that left the scene sees: the first light whose disc contains its direction (strictly inside the
// cone), else the background. A bounce ray (countsLights clear) sees black in a disc when `directSampled` is
// set, since the bounce before it sampled that light directly already; the background is never sampled
// directly, so it is always returned.
Vec3 environmentRadiance(const Scene& scene, const Ray& ray, bool directSampled);

} // namespace verdanium
