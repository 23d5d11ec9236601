#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

struct Hit;
struct Ray;
struct Material;

// The one reflection model of the system: every surface is a Lambert reflector, white or coloured by its
// texture. These functions turn a hit into the numbers the path kernel needs. All are safe to call on many
// threads at once, each thread with its own Hit.

// Fills the surface members of `hit` (object space but for `position`) from its triangle: texture
// coordinates, position derivatives, a normal that follows the triangle's winding and an orthonormal frame.
// Lazy and idempotent, so the frame is built at most once per hit however many functions ask for it, and a
// missed or shadow ray never pays for it. A degenerate triangle throws "element not invertible".
void completeHit(Hit& hit);

// The unit world-space normal of the hit (completing it first).
Vec3 worldNormal(Hit& hit);

struct MaterialSample {
    Vec3 value;        // colour x cosine / pi; may be negative for a bounce below the shading normal
    float density = 0; // cosine / pi, 0 at the rim of the hemisphere
    Vec3 colour;       // the surface colour at the hit, for the direct light of the same hit
};

// Draws a cosine-weighted bounce (two values of gRandom) and writes it into `ray`: a world direction, an
// origin 0.1 off the surface, tMin 0.1, the hit ray's time, depth + 1 and countsLights clear. `ray.tMax` is
// left as the caller set it.
MaterialSample sampleMaterial(const Material& material, Hit& hit, Ray& ray);

// Lambert's law in the local frame of a surface: colour x cos / pi for two directions above the surface,
// black otherwise.
inline Vec3 lambert(const Vec3& wo, const Vec3& wi, const Vec3& colour) {
    if (wo.z > 0.0f && wi.z > 0.0f) {
        return colour * wi.z * 0.31830987f;
    }
    return {};
}

// The reflection towards the viewer of light arriving from the world `direction`. A singular entity transform
// throws "transformation not invertible".
Vec3 evaluateMaterial(Hit& hit, const Vec3& direction, const Vec3& colour);

} // namespace verdanium
