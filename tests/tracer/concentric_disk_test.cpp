#include "tracer/concentric_disk.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace verdanium {
namespace {

void expectPoint(float a, float b, float x, float y) {
    DiskPoint point = concentricDisk(a, b);
    EXPECT_NEAR(point.x, x, 1e-6f) << "a = " << a << ", b = " << b;
    EXPECT_NEAR(point.y, y, 1e-6f) << "a = " << a << ", b = " << b;
}

TEST(ConcentricDisk, MapsCentreEdgesAndCornersByOctant) {
    DiskPoint centre = concentricDisk(0.5f, 0.5f);
    EXPECT_EQ(centre.x, 0.0f);
    EXPECT_EQ(centre.y, 0.0f);

    // p = 1, q = 0 takes the first row with s = 8: the angle is a full turn, the point (1, about 0).
    expectPoint(1.0f, 0.5f, 1.0f, 0.0f);
    expectPoint(0.5f, 1.0f, 0.0f, 1.0f);  // s = 2: a quarter turn
    expectPoint(0.0f, 0.5f, -1.0f, 0.0f); // s = 4: half a turn
    expectPoint(0.5f, 0.0f, 0.0f, -1.0f); // s = 6: three quarters
    const float diagonal = std::sqrt(0.5f);
    expectPoint(1.0f, 1.0f, diagonal, diagonal);
    expectPoint(0.0f, 1.0f, -diagonal, diagonal);
    expectPoint(0.0f, 0.0f, -diagonal, -diagonal);
    expectPoint(1.0f, 0.0f, diagonal, -diagonal);

    // A square ring goes to a circle: every point of the square's border lands on the unit circle.
    for (float t = 0.0f; t <= 1.0f; t += 0.125f) {
        for (DiskPoint point : {concentricDisk(t, 0.0f), concentricDisk(t, 1.0f), concentricDisk(0.0f, t),
                                concentricDisk(1.0f, t)}) {
            EXPECT_NEAR(point.x * point.x + point.y * point.y, 1.0f, 1e-5f);
        }
    }
}

TEST(ConcentricDisk, CoversTheDiscUniformly) {
    // Chi-square over bins of equal area: 4 rings (radii sqrt(k / 4)) times 8 sectors.
    constexpr int rings = 4, sectors = 8, bins = rings * sectors;
    constexpr int samples = 320000;
    std::array<int, bins> counts{};
    std::mt19937 generator(12345);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int i = 0; i < samples; ++i) {
        DiskPoint point = concentricDisk(unit(generator), unit(generator));
        float radiusSquared = point.x * point.x + point.y * point.y;
        ASSERT_LE(radiusSquared, 1.0f + 1e-6f);
        int ring = std::min(rings - 1, static_cast<int>(radiusSquared * rings));
        double angle = std::atan2(point.y, point.x);
        if (angle < 0.0) {
            angle += 2.0 * M_PI;
        }
        int sector = std::min(sectors - 1, static_cast<int>(angle / (2.0 * M_PI) * sectors));
        ++counts[ring * sectors + sector];
    }
    double expected = static_cast<double>(samples) / bins;
    double chiSquare = 0.0;
    for (int count : counts) {
        chiSquare += (count - expected) * (count - expected) / expected;
    }
    // 31 degrees of freedom: 61.1 is the 0.999 quantile, so a fair map fails one run in a thousand at most,
    // and with a fixed seed never.
    EXPECT_LT(chiSquare, 61.1);
}

} // namespace
} // namespace verdanium
