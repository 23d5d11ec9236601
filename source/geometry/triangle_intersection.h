#pragma once

#include "foundation/math/vec3.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/triangle_ref.h"

namespace verdanium {

// Möller-Trumbore without back-face culling and with no epsilon anywhere. Every triangle test of the system
// goes through this one function, whether its edges were just computed from the corners or precomputed at
// build time, so that all of them do the same float operations in the same order and agree bit for bit.
//
// Returns false for a zero (or NaN) determinant and for a point outside the triangle; otherwise leaves the
// range test of t to the caller. u, v and t are written either way and mean something only on true. The
// bounds are inclusive: u = 0, v = 0 and u + v = 1 count as inside, so that a ray through a shared edge
// strikes both triangles.
//
// Everything is computed and the conditions are combined at the end rather than tested one by one: on
// incoherent rays each early exit is a poorly predicted branch, which costs more than the few products it
// saves. A zero determinant then only makes inverse infinite and u, v, t infinite or NaN, which the
// determinant condition discards.
inline bool intersectTriangleEdges(const Vec3& a, const Vec3& edge1, const Vec3& edge2, const Ray& ray,
                                   float& u, float& v, float& t) {
    const Vec3 p = cross(ray.direction, edge2);
    const float det = dot(edge1, p);
    const float inverse = 1.0f / det;
    const Vec3 s = ray.origin - a;
    u = dot(s, p) * inverse;
    const Vec3 q = cross(s, edge1);
    v = dot(ray.direction, q) * inverse;
    t = dot(edge2, q) * inverse;
    return ((det < 0.0f) | (det > 0.0f)) & (u >= 0.0f) & !(u > 1.0f) & (v >= 0.0f) & !(u + v > 1.0f);
}

// The edge from corner a to corner b, as every test and the leaf records compute it.
inline Vec3 triangleEdge(const Vec3& a, const Vec3& b) {
    return b - a;
}

// Nearest-hit test of the triangle with corners a, b, c, named by ref. A hit at t in [ray.tMin, ray.tMax] and
// not beyond hit.t is written to the hit; one at exactly hit.t replaces it, so the last one tested wins.
inline bool intersectTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const TriangleRef& ref,
                              const Ray& ray, Hit& hit) {
    float u, v, t;
    if (!intersectTriangleEdges(a, triangleEdge(a, b), triangleEdge(a, c), ray, u, v, t))
        return false;
    if (!(t >= ray.tMin) || t > ray.tMax || t > hit.t)
        return false;
    hit.u = u;
    hit.v = v;
    hit.t = t;
    hit.geometry = ref.geometry;
    hit.firstIndex = ref.firstVertex;
    hit.complete = false;
    return true;
}

// Any-hit test of the triangle with corners a, b, c: struck at some t in [ray.tMin, ray.tMax]. Writes
// nothing.
inline bool occludedByTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const Ray& ray) {
    float u, v, t;
    if (!intersectTriangleEdges(a, triangleEdge(a, b), triangleEdge(a, c), ray, u, v, t))
        return false;
    return t >= ray.tMin && !(t > ray.tMax);
}

// The same two tests on a triangle of a mesh, reading its three corners from the mesh's positions.
bool intersectTriangle(const TriangleRef& ref, const Ray& ray, Hit& hit);
bool occludedByTriangle(const TriangleRef& ref, const Ray& ray);

} // namespace verdanium
