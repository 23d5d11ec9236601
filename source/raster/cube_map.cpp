#include "raster/cube_map.h"

#include <cmath>

namespace verdanium {
namespace {

// The strip's face offsets and the one-sixth scale, as 32-bit constants; note
// that 0.8333334 is one unit in the last place above the float nearest to 5/6.
constexpr float kOneSixth = 0.16666667f;
constexpr float kTwoSixths = 0.33333334f;
constexpr float kThreeSixths = 0.5f;
constexpr float kFourSixths = 0.6666667f;
constexpr float kFiveSixths = 0.8333334f;

} // namespace

StripCoordinates cubeMapStripCoordinates(const Vec3& d) {
    const float ax = std::fabs(d.x);
    const float ay = std::fabs(d.y);
    const float az = std::fabs(d.z);
    if (ax > ay && ax > az) {
        const float s = 1.0f / (2.0f * ax);
        if (d.x > 0.0f)
            return {0.5f - s * d.z, (0.5f - s * d.y) * kOneSixth + kFiveSixths};
        return {s * d.z + 0.5f, (0.5f - s * d.y) * kOneSixth + kFourSixths};
    }
    if (ay > az) {
        const float s = 1.0f / (2.0f * ay);
        if (d.y > 0.0f)
            return {s * d.x + 0.5f, (s * d.z + 0.5f) * kOneSixth + kThreeSixths};
        return {s * d.x + 0.5f, (0.5f - s * d.z) * kOneSixth + kTwoSixths};
    }
    const float s = 1.0f / (2.0f * az);
    if (d.z > 0.0f)
        return {s * d.x + 0.5f, (0.5f - s * d.y + 1.0f) * kOneSixth};
    return {0.5f - s * d.x, (0.5f - s * d.y) * kOneSixth};
}

} // namespace verdanium
