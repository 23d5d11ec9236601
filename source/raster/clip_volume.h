#pragma once

#include "foundation/math/mat4.h"
#include "geometry/bounding_box.h"

namespace verdanium {

// True when nothing inside the object-space box can reach the picture: all eight corners, taken through
// the model-view-projection matrix, lie beyond one and the same plane of GL's clip volume (-w <= x, y, z
// <= w). Every point of the box is a weighted mean of its corners, so it lies beyond that plane too, and
// GL clips away every triangle of a mesh inside the box. The corners must lie beyond the plane by a margin
// far above the rounding of the matrix product, on this side or in a vertex shader: a mesh that a rounding
// could still bring to the edge of the picture is never reported. Non-finite matrices or boxes give false.
bool outsideClipVolume(const Mat4& modelViewProjection, const BoundingBox& box);

} // namespace verdanium
