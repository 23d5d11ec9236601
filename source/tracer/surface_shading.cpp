#include "tracer/surface_shading.h"

#include "foundation/math/mat3.h"
#include "foundation/math/orthonormal_basis.h"
#include "foundation/math/vec4.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "raster/image.h"
#include "raster/material.h"
#include "tracer/concentric_disk.h"
#include "world/entity.h"
#include "world/random.h"

#include <cmath>

namespace verdanium {

void completeHit(Hit& hit) {
    if (hit.complete) {
        return;
    }
    const Geometry& geometry = *hit.geometry;
    const std::uint64_t i = hit.firstIndex;
    const Vec3& p0 = geometry.positions[i];
    const Vec3& p1 = geometry.positions[i + 1];
    const Vec3& p2 = geometry.positions[i + 2];
    TexCoord t0{0.0f, 0.0f}, t1{1.0f, 0.0f}, t2{1.0f, 1.0f};
    if (!geometry.texCoords.empty()) {
        t0 = geometry.texCoords[i];
        t1 = geometry.texCoords[i + 1];
        t2 = geometry.texCoords[i + 2];
    }

    float du1 = t0.u - t2.u, du2 = t1.u - t2.u;
    float dv1 = t0.v - t2.v, dv2 = t1.v - t2.v;
    Vec3 dp1 = p0 - p2, dp2 = p1 - p2;
    Vec3 e1 = p1 - p0, e2 = p2 - p0;
    float det = du1 * dv2 - dv1 * du2;
    if (det != 0.0f) {
        float inverseDet = 1.0f / det;
        hit.dpdu = (dp1 * dv2 - dp2 * dv1) * inverseDet;
        hit.dpdv = (dp2 * du1 - dp1 * du2) * inverseDet;
    } else {
        // Degenerate texture map: any frame around the geometric normal will do.
        TangentPair tangents = orthonormalBasis(normalized(cross(e2, e1)));
        hit.dpdu = tangents.u;
        hit.dpdv = tangents.v;
    }

    float w = 1.0f - hit.u - hit.v;
    hit.uv = {w * t0.u + hit.u * t1.u + hit.v * t2.u, w * t0.v + hit.u * t1.v + hit.v * t2.v};

    // The winding decides the side, so a mirrored texture map cannot turn the normal inwards.
    Vec3 n = cross(hit.dpdu, hit.dpdv);
    if (!(dot(n, cross(e1, e2)) >= 0.0f)) {
        n = Vec3{} - n;
    }
    hit.normal = n;
    hit.position = hit.ray.origin + hit.t * hit.ray.direction;
    hit.frame[2] = normalized(n);
    TangentPair tangents = orthonormalBasis(hit.frame[2]);
    hit.frame[0] = tangents.u;
    hit.frame[1] = tangents.v;
    hit.complete = true;
}

Vec3 worldNormal(Hit& hit) {
    completeHit(hit);
    return normalized(hit.entity->transform.forward * Vec4(hit.normal, 0.0f)).xyz();
}

MaterialSample sampleMaterial(const Material& material, Hit& hit, Ray& ray) {
    float a = uniform01(nextRandom());
    float c = uniform01(nextRandom());
    DiskPoint disk = concentricDisk(c, a);
    float zSquared = 1.0f - disk.x * disk.x - disk.y * disk.y;
    float z = zSquared > 0.0f ? std::sqrt(zSquared) : 0.0f;

    completeHit(hit);
    Vec3 local = hit.frame[0] * disk.x + hit.frame[1] * disk.y + hit.frame[2] * z;
    Vec3 w = transformDirection(hit.entity->transform.forward, local);

    MaterialSample sample;
    sample.density = z > 0.0f ? static_cast<float>(static_cast<double>(z) * 0.3183098861837907) : 0.0f;

    ray.direction = w;
    ray.origin = hit.position + w * 0.1f;
    ray.tMin = 0.1f;
    ray.time = hit.ray.time;
    ray.depth = hit.ray.depth + 1;
    ray.countsLights = false;

    sample.colour = Vec3{1.0f, 1.0f, 1.0f};
    const Image* image = material.texture.image.get();
    if (image != nullptr && image->width != 0 && image->height != 0) {
        sample.colour = sampleTexture(material.texture, hit.uv[0], hit.uv[1]);
    }
    sample.value = sample.colour * dot(w, worldNormal(hit)) * 0.31830987f;
    return sample;
}

Vec3 evaluateMaterial(Hit& hit, const Vec3& direction, const Vec3& colour) {
    const Mat4& inverse = hit.entity->transform.checkedInverse();
    completeHit(hit);
    // M = B a: a takes world directions to object space, B (rows of the frame) on into the surface's frame.
    Mat3 toObject;
    for (int column = 0; column < 3; ++column) {
        toObject.setColumn(column, inverse.column(column).xyz());
    }
    Mat3 frameRows;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            frameRows(row, column) = hit.frame[row][column];
        }
    }
    Mat3 toLocal = frameRows * toObject;
    Vec3 wi = toLocal * direction;
    Vec3 wo = toLocal * (Vec3{} - hit.ray.direction);
    return lambert(wo, wi, colour);
}

} // namespace verdanium
