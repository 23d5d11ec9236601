#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bounding_box.h"
#include "geometry/bvh.h"
#include "geometry/obj_reader.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <random>
#include <vector>

namespace verdanium::bvh_test {

// Meshes for the hierarchy's tests and benchmark, as plain triangle soups (three corners per triangle).

// A lumpy closed ball around the origin, like the program's asteroids: a cube sphere with
// 6 * subdivisions^2 quads, each split into two triangles, its radius varied by a few sine waves.
// Neighbouring triangles share their edge corners exactly, so rays through edges strike two triangles at the
// same t.
inline std::vector<Vec3> makeLumpyBall(int subdivisions) {
    const auto place = [](float a, float b, int face) {
        const float c = 1.0f - 2.0f * (face & 1);
        Vec3 p = face < 2 ? Vec3{c, a, b} : (face < 4 ? Vec3{a, c, b} : Vec3{a, b, c});
        const float length = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
        const float radius = (1.0f + 0.15f * std::sin(5.0f * p.x / length) * std::cos(3.0f * p.y / length) +
                              0.05f * std::sin(11.0f * p.z / length)) /
                             length;
        return Vec3{p.x * radius, p.y * radius, p.z * radius};
    };
    std::vector<Vec3> positions;
    positions.reserve(36 * std::size_t(subdivisions) * subdivisions);
    for (int face = 0; face < 6; ++face) {
        for (int i = 0; i < subdivisions; ++i) {
            for (int j = 0; j < subdivisions; ++j) {
                const auto grid = [&](int di, int dj) {
                    return place(-1.0f + 2.0f * float(i + di) / float(subdivisions),
                                 -1.0f + 2.0f * float(j + dj) / float(subdivisions), face);
                };
                const Vec3 a = grid(0, 0), b = grid(1, 0), c = grid(1, 1), d = grid(0, 1);
                positions.insert(positions.end(), {a, b, c, a, c, d});
            }
        }
    }
    return positions;
}

// n small triangles of random shape scattered through a cube of half size `spread`.
inline std::vector<Vec3> makeRandomSoup(std::size_t n, float spread, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> place(-spread, spread);
    std::uniform_real_distribution<float> wiggle(-0.3f, 0.3f);
    std::vector<Vec3> positions;
    positions.reserve(3 * n);
    for (std::size_t i = 0; i < n; ++i) {
        const Vec3 centre{place(random), place(random), place(random)};
        for (int corner = 0; corner < 3; ++corner)
            positions.push_back(centre + Vec3{wiggle(random), wiggle(random), wiggle(random)});
    }
    return positions;
}

// Axis-aligned squares on a lattice of integer coordinates, each facing along x, y or z and split into two
// triangles: flat boxes, planes shared with neighbouring boxes, and rays that run exactly along them.
inline std::vector<Vec3> makeLattice(int size) {
    std::vector<Vec3> positions;
    for (int i = 0; i < size; ++i) {
        for (int j = 0; j < size; ++j) {
            for (int k = 0; k < size; ++k) {
                const float x = float(i), y = float(j), z = float(k);
                const int facing = (i + 2 * j + k) % 3;
                const Vec3 a{x, y, z};
                const Vec3 du = facing == 0 ? Vec3{0, 1, 0} : Vec3{1, 0, 0};
                const Vec3 dv = facing == 2 ? Vec3{0, 1, 0} : Vec3{0, 0, 1};
                positions.insert(positions.end(), {a, a + du, a + du + dv, a, a + du + dv, a + dv});
            }
        }
    }
    return positions;
}

// The corners of a model file in the order a Geometry holds them (newest group first), moved so that their
// box is centred on the origin; empty if the file is missing (the data tree is written by the build).
inline std::vector<Vec3> readModel(const char* path, float& radius) {
    std::vector<Vec3> positions;
    if (!std::ifstream(path))
        return positions;
    ObjModel* model = glmReadOBJ(path);
    for (const ObjGroup* group = model->groups; group; group = group->next)
        for (std::uint32_t i = 0; i < group->triangleCount; ++i)
            for (std::uint32_t vertex : model->triangles[group->triangles[i]].vertexIndices)
                positions.push_back(Vec3{model->vertices[3 * vertex], model->vertices[3 * vertex + 1],
                                         model->vertices[3 * vertex + 2]});
    glmFreeModel(model);
    BoundingBox box;
    for (const Vec3& position : positions)
        box.extend(position);
    const Vec3 centre = boxCentre(box.lower, box.upper);
    radius = 0.0f;
    for (Vec3& position : positions) {
        position = position - centre;
        radius = std::max(radius, length(position));
    }
    return positions;
}

// Rays from a shell around the origin: half aimed at random points of the central cube of half size `aim`
// (so that most of them strike a mesh of about that size), half in random directions. One in eight has a
// direction component set to 0 or -0, which the traversal meets as an infinite inverse.
struct RandomRays {
    std::mt19937 random;
    float shell;
    float aim;

    RandomRays(unsigned seed, float shell, float aim) : random(seed), shell(shell), aim(aim) {}

    float uniform(float low, float high) { return std::uniform_real_distribution<float>(low, high)(random); }

    Vec3 unitVector() {
        for (;;) {
            const Vec3 v{uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)};
            const float lengthSquared = v.x * v.x + v.y * v.y + v.z * v.z;
            if (lengthSquared > 0.01f && lengthSquared <= 1.0f)
                return v * (1.0f / std::sqrt(lengthSquared));
        }
    }

    // Origin and direction of the next ray.
    void next(Vec3& origin, Vec3& direction) {
        origin = unitVector() * shell;
        if (random() % 2 == 0)
            direction = Vec3{uniform(-aim, aim), uniform(-aim, aim), uniform(-aim, aim)} - origin;
        else
            direction = unitVector();
        if (random() % 8 == 0)
            direction[int(random() % 3)] = random() % 2 ? 0.0f : -0.0f;
    }
};

} // namespace verdanium::bvh_test
