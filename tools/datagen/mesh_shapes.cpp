#include "mesh_shapes.h"

#include "portable_math.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace verdanium::datagen {
namespace {

// The unit circle point of angle 2 pi j / n, computed from j mod n, so the
// duplicated seam vertex has bitwise the same position as the first.
Vector2 circlePoint(int j, int n) {
    double angle = 2.0 * kPi * (j % n) / n;
    return {portableCos(angle), portableSin(angle)};
}

// Joins each ring k in [first, last) to ring k + 1 by quads. Ring k is segments + 1 vertices from ring[k] on,
// the last a seam copy of the first.
void joinRings(Surface& surface, const std::vector<std::uint32_t>& ring, std::size_t first, std::size_t last,
               int segments) {
    for (std::size_t k = first; k < last; ++k) {
        for (int j = 0; j < segments; ++j) {
            surface.addQuad(ring[k] + j, ring[k] + j + 1, ring[k + 1] + j + 1, ring[k + 1] + j);
        }
    }
}

// Closes the ring that begins at vertex `start` with a fan to `apex`, one apex vertex per segment so that
// every fan triangle keeps a non-degenerate texture mapping. The fan at the start of a shape runs the other
// way round, as the quads would with a ring of zero radius before the first.
void capRing(Surface& surface, std::uint32_t start, int segments, const Vector3& apex,
             const TextureRect& rect, double v, bool atStart) {
    for (int j = 0; j < segments; ++j) {
        auto tip = surface.addVertex(apex, rect.at((j + 0.5) / segments, v));
        if (atStart) {
            surface.addTriangle(tip, start + j + 1, start + j);
        } else {
            surface.addTriangle(tip, start + j, start + j + 1);
        }
    }
}

} // namespace

Surface makeLathe(const std::vector<Vector2>& profile, int segments, const TextureRect& rect) {
    if (profile.size() < 3 || profile.front().x != 0.0 || profile.back().x != 0.0) {
        throw std::logic_error("makeLathe: the profile must start and end on the axis");
    }
    std::vector<double> arc(profile.size(), 0.0);
    for (std::size_t k = 1; k < profile.size(); ++k) {
        double dr = profile[k].x - profile[k - 1].x, dz = profile[k].y - profile[k - 1].y;
        arc[k] = arc[k - 1] + std::sqrt(dr * dr + dz * dz);
    }

    Surface surface;
    const std::size_t last = profile.size() - 1;
    // ring[k] is the index of the first of segments + 1 vertices of profile point k.
    std::vector<std::uint32_t> ring(profile.size(), 0);
    for (std::size_t k = 1; k < last; ++k) {
        ring[k] = static_cast<std::uint32_t>(surface.vertices.size());
        for (int j = 0; j <= segments; ++j) {
            Vector2 c = circlePoint(j, segments);
            Vector3 p{profile[k].x * c.x, profile[k].x * c.y, profile[k].y};
            surface.addVertex(p, rect.at(static_cast<double>(j) / segments, arc[k] / arc[last]));
        }
    }
    joinRings(surface, ring, 1, last - 1, segments);
    // Fans at the two axis points.
    for (std::size_t end : {std::size_t{0}, last}) {
        std::size_t k = end == 0 ? 1 : last - 1;
        capRing(surface, ring[k], segments, {0.0, 0.0, profile[end].y}, rect, arc[end] / arc[last], end == 0);
    }
    orientOutward(surface);
    return surface;
}

Surface makeLoft(const std::vector<LoftSection>& sections, int ringPoints, const TextureRect& rect) {
    if (sections.size() < 2) {
        throw std::logic_error("makeLoft: a loft needs at least two sections");
    }
    std::vector<double> arc(sections.size(), 0.0);
    for (std::size_t k = 1; k < sections.size(); ++k) {
        arc[k] = arc[k - 1] + length(sections[k].centre - sections[k - 1].centre);
    }
    const double total = arc.back() > 0 ? arc.back() : 1.0;

    Surface surface;
    std::vector<std::uint32_t> ring(sections.size());
    for (std::size_t k = 0; k < sections.size(); ++k) {
        const LoftSection& section = sections[k];
        ring[k] = static_cast<std::uint32_t>(surface.vertices.size());
        for (int j = 0; j <= ringPoints; ++j) {
            Vector2 c = circlePoint(j, ringPoints);
            // A superellipse of exponent 4 needs only square roots: divide the
            // circle point by its 4-norm.
            double norm4 = std::sqrt(std::sqrt(c.x * c.x * c.x * c.x + c.y * c.y * c.y * c.y));
            double x = mix(c.x, c.x / norm4, section.boxiness);
            double y = mix(c.y, c.y / norm4, section.boxiness);
            surface.addVertex(section.centre + section.a * x + section.b * y,
                              rect.at(static_cast<double>(j) / ringPoints, arc[k] / total));
        }
    }
    joinRings(surface, ring, 0, sections.size() - 1, ringPoints);
    for (std::size_t k : {std::size_t{0}, sections.size() - 1}) {
        capRing(surface, ring[k], ringPoints, sections[k].centre, rect, arc[k] / total, k == 0);
    }
    orientOutward(surface);
    return surface;
}

std::vector<LoftSection> smoothSections(const std::vector<LoftSection>& keys, int count) {
    auto at = [&](long i) { return keys[static_cast<std::size_t>(std::clamp<long>(i, 0, keys.size() - 1))]; };
    auto spline = [](const Vector3& p0, const Vector3& p1, const Vector3& p2, const Vector3& p3, double t) {
        // Uniform Catmull-Rom: passes through p1 at t = 0 and p2 at t = 1.
        double t2 = t * t, t3 = t2 * t;
        return (p1 * 2.0 + (p2 - p0) * t + (p0 * 2.0 - p1 * 5.0 + p2 * 4.0 - p3) * t2 +
                (p1 * 3.0 - p0 - p2 * 3.0 + p3) * t3) *
               0.5;
    };
    std::vector<LoftSection> result;
    const double spans = static_cast<double>(keys.size() - 1);
    for (int i = 0; i < count; ++i) {
        double x = spans * i / (count - 1);
        long k = std::min(static_cast<long>(x), static_cast<long>(keys.size()) - 2);
        double t = x - k;
        LoftSection s;
        s.centre = spline(at(k - 1).centre, at(k).centre, at(k + 1).centre, at(k + 2).centre, t);
        s.a = spline(at(k - 1).a, at(k).a, at(k + 1).a, at(k + 2).a, t);
        s.b = spline(at(k - 1).b, at(k).b, at(k + 1).b, at(k + 2).b, t);
        s.boxiness = mix(at(k).boxiness, at(k + 1).boxiness, t);
        result.push_back(s);
    }
    return result;
}

} // namespace verdanium::datagen
