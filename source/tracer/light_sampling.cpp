#include "tracer/light_sampling.h"

#include "geometry/ray.h"
#include "raster/background.h"
#include "world/cone_light.h"
#include "world/random.h"
#include "world/scene.h"

#include <cmath>

namespace verdanium {

LightSample sampleConeLight(const ConeLight& light) {
    float a = uniform01(nextRandom());
    float c = uniform01(nextRandom());
    float z = std::cos(light.angle) * c + (1.0f - c);
    // The blend can round a hair above 1 near c = 0; the floor keeps that from turning into a NaN.
    float r = std::sqrt(std::fmax(0.0f, 1.0f - z * z));
    float phi = static_cast<float>(static_cast<double>(a) * 6.283185307179586);
    float x = std::cos(phi) * r;
    float y = std::sin(phi) * r;
    return {light.tangentU * x + light.tangentV * y + light.axis * z, light.radiance, light.pdf};
}

Vec3 environmentRadiance(const Scene& scene, const Ray& ray, bool directSampled) {
    for (const ConeLight& light : scene.lights) {
        if (dot(ray.direction, light.direction) > std::cos(light.angle)) {
            if (!ray.countsLights && directSampled) {
                return {};
            }
            return light.radiance;
        }
    }
    return scene.background->radiance(ray);
}

} // namespace verdanium
