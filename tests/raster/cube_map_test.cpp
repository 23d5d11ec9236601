#include "raster/cube_map.h"

#include <gtest/gtest.h>

namespace verdanium {
namespace {

struct FaceCase {
    Vec3 direction;
    float v; // centre of the face's band of the strip
};

TEST(CubeMapStrip, AxisDirectionsHitTheirFaceCentres) {
    // From the last row upward: -Z, +Z, -Y, +Y, -X, +X.
    const FaceCase cases[] = {
        {{1, 0, 0}, 0.5f * 0.16666667f + 0.8333334f},
        {{-1, 0, 0}, 0.5f * 0.16666667f + 0.6666667f},
        {{0, 1, 0}, 0.5f * 0.16666667f + 0.5f},
        {{0, -1, 0}, 0.5f * 0.16666667f + 0.33333334f},
        {{0, 0, 1}, 1.5f * 0.16666667f},
        {{0, 0, -1}, 0.5f * 0.16666667f},
    };
    for (const FaceCase& c : cases) {
        const StripCoordinates at = cubeMapStripCoordinates(c.direction * 3.0f);
        EXPECT_EQ(at.u, 0.5f) << c.direction.x << " " << c.direction.y << " " << c.direction.z;
        EXPECT_EQ(at.v, c.v) << c.direction.x << " " << c.direction.y << " " << c.direction.z;
    }
}

TEST(CubeMapStrip, FacesAreOrientedAsTheStripExpects) {
    // On +X, +z runs toward u = 0 and +y toward the top of the face.
    const StripCoordinates at = cubeMapStripCoordinates({1, 0.5f, 0.5f});
    EXPECT_EQ(at.u, 0.25f);
    EXPECT_EQ(at.v, 0.25f * 0.16666667f + 0.8333334f);
    // On -Z, +x runs toward u = 0.
    EXPECT_EQ(cubeMapStripCoordinates({0.5f, 0, -1}).u, 0.25f);
}

} // namespace
} // namespace verdanium
