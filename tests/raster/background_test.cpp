#include "geometry/ray.h"
#include "raster/background.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace verdanium {
namespace {

// Writes a float image whose texel at (row, column) holds (row, column, 7).
std::string writeStrip(const std::string& name, int width, int height) {
    const std::string path = ::testing::TempDir() + name + "_" + std::to_string(::getpid()) + ".pbm";
    std::ofstream file(path, std::ios::binary);
    file << "PF\n" << width << "\n" << height << "\n-1.0\n";
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) {
            const float texel[3] = {static_cast<float>(row), static_cast<float>(column), 7.0f};
            file.write(reinterpret_cast<const char*>(texel), sizeof texel);
        }
    return path;
}

class BackgroundTest : public ::testing::Test {
protected:
    void SetUp() override { VERDANIUM_REQUIRE_GL(); }
};

// The texel that the nearest lookup names for a direction, on a strip written by writeStrip with faces of
// w x w texels, worked out from the rules of the lookup alone: the face by strict comparison, its (u, v),
// then WrapRepeat. Truncation to 32 bits is the processor's (NaN and out-of-range values give the lowest
// integer); "/ 6" is the product with the first of the sixths, 0.16666667; a negative multiple of the size
// folds to 0 rather than to the size, which keeps the lookup inside the image.
Vec3 literalRadiance(Vec3 d, int w) {
    const float ax = std::fabs(d.x), ay = std::fabs(d.y), az = std::fabs(d.z);
    float u, v;
    if (ax > ay && ax > az) {
        const float s = 1.0f / (2.0f * ax);
        u = d.x > 0 ? 0.5f - s * d.z : s * d.z + 0.5f;
        v = (0.5f - s * d.y) * 0.16666667f + (d.x > 0 ? 0.8333334f : 0.6666667f);
    } else if (ay > az) {
        const float s = 1.0f / (2.0f * ay);
        u = s * d.x + 0.5f;
        v = d.y > 0 ? (s * d.z + 0.5f) * 0.16666667f + 0.5f : (0.5f - s * d.z) * 0.16666667f + 0.33333334f;
    } else {
        const float s = 1.0f / (2.0f * az);
        u = d.z > 0 ? s * d.x + 0.5f : 0.5f - s * d.x;
        v = d.z > 0 ? (0.5f - s * d.y + 1.0f) * 0.16666667f : (0.5f - s * d.y) * 0.16666667f;
    }
    const auto truncate = [](float value) -> std::int64_t {
        if (std::isnan(value) || value >= 2147483648.0f || value < -2147483648.0f)
            return std::numeric_limits<std::int32_t>::min();
        return static_cast<std::int32_t>(value);
    };
    const std::int64_t width = w, height = 6 * w;
    const std::int64_t i = truncate(static_cast<float>(width) * u);
    const std::int64_t j = truncate(static_cast<float>(height) * v);
    std::int64_t x = i % width, y = j % height;
    if (i < 0 && x != 0)
        x += width;
    if (j < 0 && y != 0)
        y += height;
    return {static_cast<float>(height - y - 1), static_cast<float>(x), 7.0f};
}

TEST_F(BackgroundTest, EveryDirectionReadsTheTexelThatTheNearestLookupNames) {
    constexpr int kFace = 5;
    const std::string path = writeStrip("literal", kFace, 6 * kFace);
    Background background(path);
    // Per face, offsets along the other two axes that put u or v exactly on texel boundaries (and one float
    // either side), on the face's edges and corners, and at both zeros.
    std::vector<float> offsets = {0.0f, -0.0f, 1.0f, -1.0f, 0.3f, -0.7f};
    for (int k = 0; k <= kFace; ++k) {
        const float boundary = 2.0f * static_cast<float>(k) / kFace - 1.0f;
        for (float value : {boundary, -boundary}) {
            offsets.push_back(value);
            offsets.push_back(std::nextafter(value, 2.0f));
            offsets.push_back(std::nextafter(value, -2.0f));
        }
    }
    std::vector<Vec3> directions;
    for (int axis = 0; axis < 3; ++axis)
        for (float major : {1.0f, -1.0f, 0.25f, 3e-38f})
            for (float a : offsets)
                for (float b : offsets) {
                    float d[3];
                    d[axis] = major;
                    d[(axis + 1) % 3] = a * std::fabs(major);
                    d[(axis + 2) % 3] = b * std::fabs(major);
                    directions.push_back({d[0], d[1], d[2]});
                }
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float big = std::numeric_limits<float>::max();
    for (Vec3 odd :
         {Vec3{0, 0, 0}, Vec3{-0.0f, 0, -0.0f}, Vec3{nan, 0, 0}, Vec3{0, nan, 1}, Vec3{1, 0, nan},
          Vec3{nan, nan, nan}, Vec3{inf, 1, 0}, Vec3{-inf, 0, 1}, Vec3{inf, inf, 0}, Vec3{0, 0, -inf},
          Vec3{big, big, 1}, Vec3{big, 0, -big}, Vec3{1e-45f, 0, 0}, Vec3{0, -1e-45f, 1e-45f}})
        directions.push_back(odd);
    Ray ray;
    for (const Vec3& direction : directions) {
        ray.direction = direction;
        background.prefetchRadiance(direction);
        ASSERT_EQ(background.radiance(ray), literalRadiance(direction, kFace))
            << direction.x << " " << direction.y << " " << direction.z;
    }
    std::remove(path.c_str());
}

TEST_F(BackgroundTest, APictureThatIsNoStripIsReported) {
    const std::string path = writeStrip("notastrip", 2, 13);
    ::testing::internal::CaptureStderr();
    Background background(path);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "error: \"" + path + "\" is not a cube map: width=2, height=13.\n");
    std::remove(path.c_str());
}

} // namespace
} // namespace verdanium
