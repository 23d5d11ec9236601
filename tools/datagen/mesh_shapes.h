#pragma once

// Closed surfaces for the ship's parts: solids of revolution and lofts through
// a series of cross-sections. Each maps its surface onto a rectangle of the
// texture, given as TextureRect, so several parts can share one texture.

#include "mesh.h"

#include <vector>

namespace verdanium::datagen {

struct TextureRect {
    double u0 = 0.0, v0 = 0.0, u1 = 1.0, v1 = 1.0;

    Vector2 at(double s, double t) const { return {u0 + (u1 - u0) * s, v0 + (v1 - v0) * t}; }
};

// Turns the profile (radius, z) about the z axis in `segments` steps. The
// profile starts and ends on the axis (radius 0), and no two consecutive
// points may coincide. Texture u runs around the axis, v along the profile.
Surface makeLathe(const std::vector<Vector2>& profile, int segments, const TextureRect& rect);

// One cross-section of a loft: the ring centre + a * cos(phi) + b * sin(phi),
// pushed towards a rounded square by `boxiness` in [0, 1].
struct LoftSection {
    Vector3 centre;
    Vector3 a;
    Vector3 b;
    double boxiness = 0.0;
};

// A tube through the sections, closed at both ends by a fan to the end
// sections' centres. Texture u runs around the rings, v along the tube.
Surface makeLoft(const std::vector<LoftSection>& sections, int ringPoints, const TextureRect& rect);

// Resamples a short list of sections into `count` sections along a smooth
// Catmull-Rom curve through them, so a hull drawn with a few key sections
// gets an even, smooth surface.
std::vector<LoftSection> smoothSections(const std::vector<LoftSection>& keys, int count);

} // namespace verdanium::datagen
