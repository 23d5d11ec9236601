#pragma once

// Albedo textures for the rocks, laid out as the cube-sphere atlas of their mesh.

#include "float_image.h"
#include "rock_shape.h"

namespace verdanium::datagen {

struct RockPalette {
    Vector3 dark;            // weathered, low-lying material
    Vector3 light;           // exposed, brighter material
    Vector3 fresh;           // broken faces and crater ejecta, not yet darkened by space
    Vector3 vein{0, 0, 0};   // mineral veins
    double veinAmount = 0.0; // 0: none
};

// Linear albedo in [0, 1) for every texel of a 3 x 2 atlas of `tileTexels` tiles.
FloatImage makeRockAlbedo(const RockShape& shape, const RockPalette& palette, int tileTexels);

} // namespace verdanium::datagen
