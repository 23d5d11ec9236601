#include "raster/clip_volume.h"

#include <cmath>

namespace verdanium {
namespace {

// Relative to the sum of the magnitudes of a clip coordinate's terms; a float product and sum of four terms
// rounds by a few units of 2^-24 of that sum, so this leaves a factor of over a hundred.
constexpr float kMargin = 1e-4f;

} // namespace

bool outsideClipVolume(const Mat4& m, const BoundingBox& box) {
    // For each of the six planes, whether every corner so far lies beyond it.
    bool beyond[6] = {true, true, true, true, true, true};
    for (int corner = 0; corner < 8; ++corner) {
        const float p[3] = {(corner & 1) ? box.upper.x : box.lower.x,
                            (corner & 2) ? box.upper.y : box.lower.y,
                            (corner & 4) ? box.upper.z : box.lower.z};
        float clip[4];
        float size[4];
        for (int row = 0; row < 4; ++row) {
            clip[row] = m(row, 3);
            size[row] = std::fabs(m(row, 3));
            for (int column = 0; column < 3; ++column) {
                clip[row] += m(row, column) * p[column];
                size[row] += std::fabs(m(row, column) * p[column]);
            }
        }
        for (int axis = 0; axis < 3; ++axis) {
            const float margin = kMargin * (size[axis] + size[3]);
            // Written so that a NaN anywhere clears the flags.
            if (!(clip[axis] - clip[3] > margin))
                beyond[2 * axis] = false;
            if (!(-clip[axis] - clip[3] > margin))
                beyond[2 * axis + 1] = false;
        }
    }
    for (bool plane : beyond)
        if (plane)
            return true;
    return false;
}

} // namespace verdanium
