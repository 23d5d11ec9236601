#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

// A cube map is stored as one vertical strip of six square faces, from the top
// of the file down: +X, -X, +Y, -Y, +Z, -Z. An image is a strip exactly when its
// height is six times its width.
struct StripCoordinates {
    float u = 0;
    float v = 0;
};

// Where a direction (any length, not normalised) meets the strip, with v counting
// upward from the last row as sampleTexture expects. The face is that of the
// largest absolute component by strict comparison, so ties go away from X, and
// from Y to Z. One division, no square root: this runs for every ray that
// leaves the scene.
StripCoordinates cubeMapStripCoordinates(const Vec3& direction);

} // namespace verdanium
