#pragma once

#include "foundation/math/vec3.h"
#include "geometry/ray.h"

#include <array>
#include <cstdint>
#include <limits>

namespace verdanium {

class Entity;
class Geometry;

// The result of a nearest-hit query. The queries fill entity, geometry, firstIndex, u, v and t (and clear
// complete); the surface members below complete are filled lazily by completeHit, at most once per hit.
struct Hit {
    // Neither pointer owns: entities are owned by the scene, meshes by shared pointers elsewhere.
    Entity* entity = nullptr;
    const Geometry* geometry = nullptr;
    // Index of the struck triangle's first corner (three times the triangle number); all ones for no hit.
    std::uint64_t firstIndex = ~std::uint64_t(0);
    // Barycentric weights of the second and third corner.
    float u = 0.0f;
    float v = 0.0f;
    // Ray parameter of the hit; +infinity while nothing has been struck, so it doubles as the search limit.
    float t = std::numeric_limits<float>::infinity();
    // Copy of the world-space ray that made the hit.
    Ray ray;
    // True once the members below are valid.
    bool complete = false;

    Vec3 position;
    Vec3 normal;
    std::array<float, 2> uv{};
    Vec3 dpdu;
    Vec3 dpdv;
    // Tangent, bitangent and unit normal.
    std::array<Vec3, 3> frame{};
};

} // namespace verdanium
