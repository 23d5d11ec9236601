// The float images: every file in the exact layout the program's image reader demands, textures as plain
// albedo, and the background as a seamless cube-map strip of HDR radiance.

#include "generated_data.h"
#include "raster/cube_map.h"
#include "raster/texture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace verdanium::datagen_test {
namespace {

TEST(Images, AreWellFormedWithFiniteNonNegativeValues) {
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dataRoot())) {
        if (entry.path().extension() != ".pbm")
            continue;
        ++files;
        const PfImage image = readPf(entry.path());
        ASSERT_TRUE(image.problem.empty()) << entry.path() << ": " << image.problem;
        // A surface can't reflect more light than it receives.
        const float most = entry.path().string().find("/models/") != std::string::npos ? 1.0f : INFINITY;
        for (float value : image.rgb)
            ASSERT_TRUE(std::isfinite(value) && value >= 0.0f && value <= most) << entry.path();
    }
    EXPECT_GE(files, 12);
}

class Background : public testing::Test {
protected:
    static void SetUpTestSuite() { strip = readPf(dataRoot() / "backgrounds/orange/radiance.pbm"); }
    void SetUp() override { ASSERT_TRUE(strip.problem.empty()) << strip.problem; }

    // Brightness in a direction, through the program's own lookup (face choice, strip coordinates, nearest
    // texel with repeating wrap), with stars cut off so that single bright texels don't dominate the sums.
    static float level(const Vec3& direction) {
        const StripCoordinates c = cubeMapStripCoordinates(direction);
        const std::size_t texel = texelIndex(WrapRepeat, strip.width, strip.height, c.u, c.v) * 3;
        return std::min((strip.rgb[texel] + strip.rgb[texel + 1] + strip.rgb[texel + 2]) / 3.0f, 1.0f);
    }
    static PfImage strip;
};
PfImage Background::strip;

TEST_F(Background, IsAStripOfSixFacesOfHdrNebulaAndStars) {
    EXPECT_GE(strip.width, 256);
    EXPECT_EQ(strip.height, 6 * strip.width);
    std::vector<float> levels;
    for (std::size_t i = 0; i < strip.rgb.size(); i += 3)
        levels.push_back((strip.rgb[i] + strip.rgb[i + 1] + strip.rgb[i + 2]) / 3.0f);
    std::sort(levels.begin(), levels.end());
    EXPECT_GT(levels.back(), 2.0f) << "no bright stars";
    EXPECT_GT(levels[levels.size() / 100], 0.005f) << "the nebula has black holes";
    EXPECT_GT(levels[levels.size() / 2], 0.02f);
    EXPECT_LT(levels[levels.size() / 2], 0.5f);
}

TEST_F(Background, FacesMeetWithoutSeams) {
    // Along each of the twelve cube edges, compare the step across the edge with an equal step inside the
    // face on either side. A face stored mirrored, turned or swapped makes the step across the edge as large
    // as the difference between unrelated texels.
    const float step = 1.5f / strip.width;
    const int samples = 400;
    for (int axisA = 0; axisA < 3; ++axisA) {
        for (int axisB = axisA + 1; axisB < 3; ++axisB) {
            for (float signA : {-1.0f, 1.0f}) {
                for (float signB : {-1.0f, 1.0f}) {
                    double across = 0, insideA = 0, insideB = 0;
                    for (int k = 0; k < samples; ++k) {
                        const auto at = [&](float a, float b) {
                            Vec3 d;
                            d[axisA] = signA * a;
                            d[axisB] = signB * b;
                            d[3 - axisA - axisB] = -0.98f + 1.96f * (k + 0.5f) / samples;
                            return level(d);
                        };
                        const float onA = at(1 + step, 1), onB = at(1, 1 + step);
                        across += std::fabs(onA - onB);
                        insideA += std::fabs(onA - at(1 + 3 * step, 1));
                        insideB += std::fabs(onB - at(1, 1 + 3 * step));
                    }
                    EXPECT_LT(across, 1.5 * std::max(insideA, insideB) + 0.002 * samples)
                        << "seam between axis " << axisA << " (" << signA << ") and axis " << axisB << " ("
                        << signB << ")";
                }
            }
        }
    }
}

} // namespace
} // namespace verdanium::datagen_test
