#pragma once

#include "foundation/math/transform.h"

#include <cstdint>

namespace verdanium {

struct Ray;

// Ties pixels to camera-space rays and supplies the projection for rasterising.
// It knows nothing of where the viewer stands: that is the scene's
// world-to-camera transform, applied by the caller.
//
// Pixel coordinates start at the top left corner, x to the right, y downward.
// Camera space looks down -z with y up.
struct Camera {
    // Camera space to clip space; the identity until `makeProjectedCamera` sets
    // it.
    Transform projection;
    // Normalised device coordinates to pixel coordinates: (-1, 1) goes to (0, 0),
    // (1, -1) to (width, height).
    Transform screen;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    // A zero width or height throws "element not invertible".
    Camera(std::uint32_t width, std::uint32_t height);
};

// The camera of a w x h picture (each raised to at least 1): a 90 degree field
// of view on the shorter side, near plane 1, far plane 2000.
Camera makeProjectedCamera(std::uint32_t width, std::uint32_t height);

// Writes the camera-space ray through the pixel point (x, y) into `ray.origin`
// (zero) and `ray.direction` (unit); the other members are left alone. The
// point is used as given, with no half-pixel offset. Returns the weight 1.0. A
// singular transform throws "transformation not invertible", a degenerate point
// "element not invertible".
float pixelRay(const Camera& camera, float x, float y, Ray& ray);

} // namespace verdanium
