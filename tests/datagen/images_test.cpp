// The float images through the program's own reader: every file in the exact layout it takes, textures as
// plain albedo, and the background as a seamless cube-map strip of HDR radiance.

#include "generated_data.h"
#include "raster/cube_map.h"
#include "raster/image.h"
#include "raster/texture.h"
#include "support/gl_test_context.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace verdanium::datagen_test {
namespace {

// The image at `path`, which must load without a word on standard error (the reader's way of refusing a
// header or a payload of the wrong length).
std::unique_ptr<Image> readImage(const std::filesystem::path& path) {
    ::testing::internal::CaptureStderr();
    auto image = std::make_unique<Image>(path.string());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << path;
    EXPECT_EQ(image->pixels.size(), std::size_t(image->width * image->height)) << path;
    return image;
}

TEST(Images, AreWellFormedWithFiniteNonNegativeValues) {
    VERDANIUM_REQUIRE_GL();
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dataRoot())) {
        if (entry.path().extension() != ".pbm")
            continue;
        ++files;
        const auto image = readImage(entry.path());
        // A surface can't reflect more light than it receives.
        const float most = entry.path().string().find("/models/") != std::string::npos ? 1.0f : INFINITY;
        for (const Vec3& pixel : image->pixels)
            for (int c = 0; c < 3; ++c)
                ASSERT_TRUE(std::isfinite(pixel[c]) && pixel[c] >= 0.0f && pixel[c] <= most) << entry.path();
    }
    EXPECT_GE(files, 12);
}

class Background : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        strip = readImage(dataRoot() / "backgrounds/orange/radiance.pbm");
        ASSERT_FALSE(strip->pixels.empty());
    }
    // Brightness in a direction, through the program's own lookup (face choice, strip coordinates, nearest
    // texel with repeating wrap), with stars cut off so that single bright texels don't dominate the sums.
    float level(const Vec3& direction) const {
        const StripCoordinates c = cubeMapStripCoordinates(direction);
        const Vec3& texel = strip->pixels[texelIndex(WrapRepeat, strip->width, strip->height, c.u, c.v)];
        return std::min((texel.x + texel.y + texel.z) / 3.0f, 1.0f);
    }
    std::unique_ptr<Image> strip;
};

TEST_F(Background, IsAStripOfSixFacesOfHighDynamicRange) {
    EXPECT_EQ(strip->height, 6 * strip->width);
    float brightest = 0.0f;
    for (const Vec3& pixel : strip->pixels)
        brightest = std::max(brightest, (pixel.x + pixel.y + pixel.z) / 3.0f);
    EXPECT_GT(brightest, 2.0f) << "no star brighter than white";
}

TEST_F(Background, FacesMeetWithoutSeams) {
    // Along each of the twelve cube edges, compare the step across the edge with an equal step inside the
    // face on either side. A face stored mirrored, turned or swapped makes the step across the edge as large
    // as the difference between unrelated texels.
    const float step = 1.5f / strip->width;
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
