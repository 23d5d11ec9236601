#pragma once

#include "foundation/math/math_errors.h"
#include "geometry/bvh_node.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/intersector_mode.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "world/entity.h"
#include "world/scene.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

// The reference the queries are checked against: the binary walk as its rules read, plain recursion over the
// binary nodes, step by step, sharing no code with the program's walks or its triangle test.
namespace verdanium::bvh_oracle {

struct Setup {
    float origin[3];
    float inverse[3];
    int sign[3];
};

inline Setup setUp(const Ray& ray) {
    Setup s;
    const float o[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    const float d[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
    for (int a = 0; a < 3; ++a) {
        s.origin[a] = o[a];
        s.inverse[a] = 1.0f / d[a];
        s.sign[a] = s.inverse[a] >= 0.0f ? 0 : 1; // a NaN counts as 1
    }
    return s;
}

inline bool boxPasses(const BvhNode& node, const Setup& s, float tMin, float limit) {
    const float box[6] = {node.lower.x, node.lower.y, node.lower.z, node.upper.x, node.upper.y, node.upper.z};
    float t[3][2];
    for (int a = 0; a < 3; ++a) {
        t[a][0] = (box[a + 3 * s.sign[a]] - s.origin[a]) * s.inverse[a];
        t[a][1] = (box[a + 3 * (1 - s.sign[a])] - s.origin[a]) * s.inverse[a];
    }
    if (t[0][0] > t[1][1] || t[1][0] > t[0][1])
        return false;
    float t0 = t[0][0], t1 = t[0][1];
    if (t[1][0] > t0)
        t0 = t[1][0];
    if (!(t[1][1] >= t1))
        t1 = t[1][1];
    if (t0 > t[2][1] || t[2][0] > t1)
        return false;
    if (t[2][0] > t0)
        t0 = t[2][0];
    if (!(t[2][1] >= t1))
        t1 = t[2][1];
    if (t0 >= limit)
        return false;
    return t1 > tMin;
}

inline Vec3 sub(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 crossOf(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float dotOf(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Möller-Trumbore: with `hit` the nearest-hit test, which writes the hit; without it the any-hit test.
inline bool triangle(const Geometry& mesh, std::uint64_t first, const Ray& ray, Hit* hit) {
    const Vec3 a = mesh.positions[first], b = mesh.positions[first + 1], c = mesh.positions[first + 2];
    const Vec3 e1 = sub(b, a), e2 = sub(c, a);
    const Vec3 p = crossOf(ray.direction, e2);
    const float det = dotOf(e1, p);
    if (!(det != 0.0f))
        return false;
    const float inv = 1.0f / det;
    const Vec3 s = sub(ray.origin, a);
    const float u = dotOf(s, p) * inv;
    if (!(u >= 0.0f) || u > 1.0f)
        return false;
    const Vec3 q = crossOf(s, e1);
    const float v = dotOf(ray.direction, q) * inv;
    if (!(v >= 0.0f) || u + v > 1.0f)
        return false;
    const float t = dotOf(e2, q) * inv;
    if (!(t >= ray.tMin) || t > ray.tMax || (hit && t > hit->t))
        return false;
    if (hit) {
        hit->u = u;
        hit->v = v;
        hit->t = t;
        hit->geometry = &mesh;
        hit->firstIndex = first;
        hit->complete = false;
    }
    return true;
}

// The walk over `nodes`; leaf(index) tests the leaf's item and returns true on a hit. Nearest hit: every
// leaf reached, each box against the limit of the moment; any hit (hit == nullptr): stops at the first.
template <typename Leaf>
bool walk(const std::vector<BvhNode>& nodes, std::uint32_t current, const Setup& s, const Ray& ray,
          const Hit* hit, Leaf& leaf, bool& found) {
    const float limit = hit && !(hit->t >= ray.tMax) ? hit->t : ray.tMax;
    const BvhNode& node = nodes[current];
    if (!boxPasses(node, s, ray.tMin, limit))
        return false;
    if (node.count > 0) {
        for (std::uint32_t i = node.index; i < node.index + node.count; ++i) {
            const bool struck = leaf(i);
            found |= struck;
            if (struck && !hit)
                return true;
        }
        return false;
    }
    const std::uint32_t near = s.sign[node.axis] == 0 ? current + 1 : node.index;
    const std::uint32_t far = s.sign[node.axis] == 0 ? node.index : current + 1;
    return walk(nodes, near, s, ray, hit, leaf, found) || walk(nodes, far, s, ray, hit, leaf, found);
}

// A mesh in intersector mode 0: its tree, or every triangle where it has none.
inline bool meshQuery(const Geometry& mesh, const Ray& ray, Hit* hit) {
    bool found = false;
    if (mesh.bvh.nodes.empty()) {
        for (std::uint64_t first = 0; first + 2 < mesh.positions.size(); first += 3) {
            found |= triangle(mesh, first, ray, hit);
            if (found && !hit)
                return true;
        }
        return found;
    }
    auto leaf = [&](std::uint32_t i) { return triangle(mesh, mesh.bvh.leafItems[i], ray, hit); };
    walk(mesh.bvh.nodes, 0, setUp(ray), ray, hit, leaf, found);
    return found;
}

// The scene: its tree over the entities, each entity reached tested with the ray in its object space over
// [0, infinity); the mesh answers by the walk above in mode 0, by Embree in mode 1.
inline bool sceneQuery(const Scene& scene, const Ray& ray, Hit* hit) {
    auto leaf = [&](std::uint32_t i) {
        Entity& entity = *scene.hierarchy.leafItems[i];
        if (entity.transform.singular)
            throwTransformationNotInvertible();
        const Ray objectRay = toObjectSpace(entity.transform.inverse, ray);
        const Geometry& mesh = *entity.geometry;
        bool struck;
        if (gIntersectorMode == 1)
            struck = hit ? mesh.intersect(objectRay, *hit) : mesh.occluded(objectRay);
        else
            struck = meshQuery(mesh, objectRay, hit);
        if (struck && hit) {
            hit->entity = &entity;
            hit->complete = false;
        }
        return struck;
    };
    bool found = false;
    walk(scene.hierarchy.nodes, 0, setUp(ray), ray, hit, leaf, found);
    return found;
}

inline std::uint32_t bits(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, sizeof b);
    return b;
}

// Empty if the two answers are the same to the bit, else what differs.
inline std::string difference(bool foundA, const Hit& a, bool foundB, const Hit& b) {
    if (foundA != foundB)
        return foundA ? "only the first hits" : "only the second hits";
    if (bits(a.t) != bits(b.t) || bits(a.u) != bits(b.u) || bits(a.v) != bits(b.v) ||
        a.firstIndex != b.firstIndex || a.geometry != b.geometry || a.entity != b.entity)
        return "hit at t " + std::to_string(a.t) + " triangle " + std::to_string(a.firstIndex) + " vs t " +
               std::to_string(b.t) + " triangle " + std::to_string(b.firstIndex);
    return {};
}

// The ray in full precision, for a failure message.
inline std::string describe(const Ray& ray) {
    char text[256];
    std::snprintf(text, sizeof text, " (origin %.9g %.9g %.9g, direction %.9g %.9g %.9g, range %.9g %.9g)",
                  ray.origin.x, ray.origin.y, ray.origin.z, ray.direction.x, ray.direction.y, ray.direction.z,
                  ray.tMin, ray.tMax);
    return text;
}

} // namespace verdanium::bvh_oracle
