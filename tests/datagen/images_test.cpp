// The float images: every file in the exact layout the program's image reader
// demands, textures as plain albedo, and the background as a seamless cube-map
// strip of HDR radiance.

#include "generated_data.h"
#include "raster/cube_map.h"
#include "raster/texture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace verdanium::datagen_test {
namespace {

std::vector<std::filesystem::path> imageFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dataRoot())) {
        if (entry.is_regular_file() && entry.path().extension() == ".pbm") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

TEST(Images, AreWellFormedWithFiniteNonNegativeValues) {
    std::vector<std::filesystem::path> files = imageFiles();
    ASSERT_GE(files.size(), 12u);
    for (const std::filesystem::path& file : files) {
        PfImage image = readPf(file);
        ASSERT_TRUE(image.problem.empty()) << file << ": " << image.problem;
        bool texture = file.string().find("/models/") != std::string::npos;
        for (float value : image.rgb) {
            ASSERT_TRUE(std::isfinite(value) && value >= 0.0f) << file;
            // A surface can't reflect more light than it receives.
            if (texture) {
                ASSERT_LE(value, 1.0f) << file;
            }
        }
    }
}

// The program's own background lookup: face choice, strip coordinates and the
// nearest texel with repeating wrap.
float lookup(const PfImage& strip, float x, float y, float z, int channel) {
    StripCoordinates c = cubeMapStripCoordinates({x, y, z});
    return strip.rgb[texelIndex(WrapRepeat, strip.width, strip.height, c.u, c.v) * 3 + channel];
}

// Brightness with stars cut off, so single bright texels don't dominate the means.
float level(const PfImage& strip, float x, float y, float z) {
    float sum = 0;
    for (int c = 0; c < 3; ++c) {
        sum += lookup(strip, x, y, z, c);
    }
    return std::min(sum / 3.0f, 1.0f);
}

class Background : public testing::Test {
protected:
    static void SetUpTestSuite() { strip_ = readPf(dataRoot() / "backgrounds/orange/radiance.pbm"); }
    static PfImage strip_;
};
PfImage Background::strip_;

TEST_F(Background, IsAStripOfSixFacesOfHdrNebulaAndStars) {
    ASSERT_TRUE(strip_.problem.empty()) << strip_.problem;
    EXPECT_GE(strip_.width, 256);
    EXPECT_EQ(strip_.height, 6 * strip_.width);

    std::vector<float> levels;
    float brightest = 0;
    for (std::size_t i = 0; i < strip_.rgb.size(); i += 3) {
        float value = (strip_.rgb[i] + strip_.rgb[i + 1] + strip_.rgb[i + 2]) / 3.0f;
        levels.push_back(value);
        brightest = std::max(brightest, value);
    }
    std::sort(levels.begin(), levels.end());
    EXPECT_GT(brightest, 2.0f) << "no bright stars";
    EXPECT_GT(levels[levels.size() / 100], 0.005f) << "the nebula has black holes";
    EXPECT_GT(levels[levels.size() / 2], 0.02f);
    EXPECT_LT(levels[levels.size() / 2], 0.5f);

    // Orange: red above green above blue on average.
    double red = 0, green = 0, blue = 0;
    for (std::size_t i = 0; i < strip_.rgb.size(); i += 3) {
        red += strip_.rgb[i];
        green += strip_.rgb[i + 1];
        blue += strip_.rgb[i + 2];
    }
    EXPECT_GT(red, 1.3 * green);
    EXPECT_GT(green, 1.3 * blue);
}

TEST_F(Background, FacesMeetWithoutSeams) {
    ASSERT_TRUE(strip_.problem.empty()) << strip_.problem;
    // Along each of the twelve cube edges, compare the step across the edge with
    // an equal step inside the face on either side. A face stored mirrored,
    // turned or swapped makes the step across the edge as large as the
    // difference between unrelated texels.
    const float step = 1.5f / strip_.width;
    for (int axisA = 0; axisA < 3; ++axisA) {
        for (int axisB = axisA + 1; axisB < 3; ++axisB) {
            int axisC = 3 - axisA - axisB;
            for (float signA : {-1.0f, 1.0f}) {
                for (float signB : {-1.0f, 1.0f}) {
                    double across = 0, insideA = 0, insideB = 0;
                    const int samples = 400;
                    for (int k = 0; k < samples; ++k) {
                        float t = -0.98f + 1.96f * (k + 0.5f) / samples;
                        auto at = [&](float a, float b) {
                            float d[3];
                            d[axisA] = signA * a;
                            d[axisB] = signB * b;
                            d[axisC] = t;
                            return level(strip_, d[0], d[1], d[2]);
                        };
                        float onA = at(1 + step, 1), onB = at(1, 1 + step);
                        across += std::fabs(onA - onB);
                        insideA += std::fabs(onA - at(1 + 3 * step, 1));
                        insideB += std::fabs(onB - at(1, 1 + 3 * step));
                    }
                    double inside = std::max(insideA, insideB);
                    EXPECT_LT(across, 1.5 * inside + 0.002 * samples)
                        << "seam between axis " << axisA << " (" << signA << ") and axis " << axisB << " ("
                        << signB << "): " << across / samples << " across, " << inside / samples << " inside";
                }
            }
        }
    }
}

} // namespace
} // namespace verdanium::datagen_test
