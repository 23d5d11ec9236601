#pragma once

#include "foundation/math/math_errors.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "raster/background.h"
#include "raster/material.h"
#include "tracer/light_sampling.h"
#include "tracer/recursive_path_tracer.h"
#include "tracer/surface_shading.h"
#include "world/cone_light.h"
#include "world/entity.h"
#include "world/scene.h"

#include <cstdint>

namespace verdanium {

// The path kernel: how much light comes back along one ray.
//
// It is written once, over any `World` that answers the scene's two ray queries (`intersect(ray, hit)`,
// `occluded(ray)`) and names its `Scene` through `sceneOf` (for lights and background), so that the
// renderer and the all-Embree reference of the benchmark run literally the same code. The renderer's own
// instance is `RecursivePathTracer::trace`.

inline const Scene& sceneOf(const Scene& scene) {
    return scene;
}

// Depth is compared as the unsigned view of the sign-extended value, so a negative depth counts as too deep.
inline bool deeperThan(std::int32_t depth, std::uint64_t maxDepth) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(depth)) > maxDepth;
}

template <class World>
Vec3 traceFromHit(const RecursivePathTracer& renderer, const World& world, const Ray& ray, Hit& hit);

// Why a recursion: the depth is bounded by maxDepth + 2 calls and each call holds one Hit (about 200 bytes)
// on the worker's stack, so the call tree costs no allocation; the order of random draws within a path
// (material, then the subtree, then the lights) falls out of the code's own order.
template <class World>
Vec3 tracePath(const RecursivePathTracer& renderer, const World& world, const Ray& ray) {
    if (deeperThan(ray.depth, renderer.maxDepth)) {
        return {};
    }
    const Scene& scene = sceneOf(world);
    // Most rays leave the scene, and their background texel is a cache miss: it loads while the ray is
    // walked.
    if (scene.background)
        scene.background->prefetchRadiance(ray.direction);
    Hit hit;
    hit.ray = ray;
    if (!world.intersect(ray, hit)) {
        return environmentRadiance(scene, ray, renderer.bidirectional != 0);
    }
    return traceFromHit(renderer, world, ray, hit);
}

// The rest of tracePath once `ray` has struck the surface `hit` describes (hit.ray being the ray): the
// bounces and direct light of that hit. Camera rays whose hits were found together for a tile enter here.
template <class World>
Vec3 traceFromHit(const RecursivePathTracer& renderer, const World& world, const Ray& ray, Hit& hit) {
    const Scene& scene = sceneOf(world);
    const std::uint64_t branches = ray.depth == 0 ? renderer.secondaryBounceCount : 1;
    const Material& material = hit.entity->materials[hit.geometry->triangleMaterials[hit.firstIndex / 3]];
    Vec3 total;
    for (std::uint64_t branch = 0; branch < branches; ++branch) {
        Ray bounce;
        bounce.countsLights = true;
        MaterialSample sample = sampleMaterial(material, hit, bounce);
        if (sample.density != 0.0f) {
            Vec3 incoming = tracePath(renderer, world, bounce);
            total += (sample.value * incoming) * (1.0f / sample.density);
        }
        // The last bounce that maxDepth allows gets no direct light, and with bidirectional off the lights
        // are found only by bounce rays entering their discs.
        if (bounce.countsLights || renderer.bidirectional == 0 ||
            deeperThan(bounce.depth, renderer.maxDepth)) {
            continue;
        }

        Vec3 direct;
        const Vec3 normal = worldNormal(hit);
        const Vec3 point = hit.ray.origin + hit.t * hit.ray.direction;
        for (const ConeLight& light : scene.lights) {
            LightSample lightSample = sampleConeLight(light);
            Ray shadow;
            shadow.origin = point + lightSample.direction * 0.1f;
            shadow.direction = lightSample.direction;
            shadow.tMin = 0.1f;
            shadow.countsLights = true;
            float cosine = dot(lightSample.direction, normal);
            // The cheap tests first, so that a light behind the surface costs no shadow ray.
            if (lightSample.density > 0.0f && cosine > 0.0f && !world.occluded(shadow)) {
                Vec3 reflected = evaluateMaterial(hit, lightSample.direction, sample.colour);
                direct += (reflected * lightSample.radiance) * (1.0f / lightSample.density);
            }
        }
        // One pass over every light, so the direct estimate is divided by a count of 1.
        total += direct;
    }
    return total * reciprocal(static_cast<float>(branches));
}

} // namespace verdanium
