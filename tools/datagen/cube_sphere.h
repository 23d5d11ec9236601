#pragma once

// A sphere built from the six faces of a cube, each a grid of quads, and the
// texture atlas that goes with it: the faces lie in three columns and two rows of
// square tiles. Rocks are made by moving every grid point along its direction,
// and their textures by evaluating, for every texel, the same direction.

#include "mesh.h"

#include <functional>

namespace verdanium::datagen {

// Unit direction of the point (s, t) in [0, 1]^2 of cube face `face` (0..5:
// +X, -X, +Y, -Y, +Z, -Z). The grid is warped by a tangent so that cells near
// the cube's corners are not much smaller than those at the face centres.
Vector3 cubeSphereDirection(int face, double s, double t);

// Texture coordinate of (s, t) on `face` in an atlas of 3 x 2 tiles of
// `tileTexels` each, keeping one texel of margin inside every tile so that
// nearest-texel lookups near a tile's border never read the neighbouring tile.
Vector2 atlasUv(int face, double s, double t, int tileTexels);

// Inverse of atlasUv at texel centres: the face and (s, t) that the texel
// (x, y) of the atlas (y from the top row) shows. (s, t) may lie slightly
// outside [0, 1] in the margin, which still maps to a valid direction.
void atlasTexel(int x, int y, int tileTexels, int& face, double& s, double& t);

// A closed sphere of 6 x subdivisions^2 quads. `place` maps each grid point's
// unit direction to its final position; it must keep the surface star-shaped
// about the origin. Points shared by two faces are computed once, so the
// surface is watertight. `jitter` (in grid cells, below 0.5) moves each
// point's direction sideways by a hashed amount, which breaks up the regular
// pattern that flat-shaded facets of a perfect grid show.
Surface makeCubeSphere(int subdivisions, int tileTexels, double jitter,
                       const std::function<Vector3(const Vector3&)>& place);

} // namespace verdanium::datagen
