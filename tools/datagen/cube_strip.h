#pragma once

// The program's cube-map strip: six square faces stacked from the top of the
// file in the order +X, -X, +Y, -Y, +Z, -Z, looked up by direction with the
// largest-axis rule and nearest texels. This gives the inverse: the direction
// whose lookup lands on the middle of a texel.

#include "vector_math.h"

namespace verdanium::datagen {

// Direction (not normalised; the largest component is +-1) shown by the texel
// in column x and row y (from the top of the strip) of a strip `faceSize`
// texels wide.
Vector3 cubeStripDirection(int x, int y, int faceSize);

} // namespace verdanium::datagen
