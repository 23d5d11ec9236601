#pragma once

// The orange nebula background: data/backgrounds/orange/radiance.pbm, a cube-map
// strip of linear HDR radiance. Every texel is computed from the direction it
// shows, so the six faces meet without seams.

#include "float_image.h"
#include "output_files.h"

namespace verdanium::datagen {

// Nebula glow (about 0.02 to 0.5) and stars (up to about 12) in the direction
// `direction` (unit length). `texelAngle` is the angular size of a texel, which
// sets the width of a star's image.
Vector3 skyRadiance(const Vector3& direction, double texelAngle);

// The strip of six faces of `faceSize` texels, faceSize wide and 6 faceSize high.
FloatImage makeNebulaStrip(int faceSize);

void generateBackground(OutputTree& out);

} // namespace verdanium::datagen
