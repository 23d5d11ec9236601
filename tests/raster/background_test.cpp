#include "geometry/ray.h"
#include "raster/background.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

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

Vec3 radianceAlong(const Background& background, Vec3 direction) {
    Ray ray;
    ray.direction = direction;
    return background.radiance(ray);
}

class BackgroundTest : public ::testing::Test {
protected:
    void SetUp() override { VERDANIUM_REQUIRE_GL(); }
};

TEST_F(BackgroundTest, DirectionsReadTheirFaceTheWayItIsOriented) {
    // Faces of 3 x 3 texels: rows 0-2 +X, 3-5 -X, 6-8 +Y, 9-11 -Y, 12-14 +Z, 15-17 -Z.
    const std::string path = writeStrip("strip", 3, 18);
    Background background(path);

    struct Case {
        Vec3 direction;
        float row;
    };
    const Case cases[] = {{{1, 0, 0}, 1},   {{-1, 0, 0}, 4}, {{0, 1, 0}, 7},
                          {{0, -1, 0}, 10}, {{0, 0, 1}, 13}, {{0, 0, -1}, 16}};
    for (const Case& c : cases) {
        const Vec3 texel = radianceAlong(background, c.direction * 0.25f);
        EXPECT_EQ(texel, (Vec3{c.row, 1, 7}))
            << c.direction.x << " " << c.direction.y << " " << c.direction.z;
    }
    // Ties: (1, 1, 0) on the +Y face at its u = 1 edge, which wraps to column 0;
    // (1, 0, 1) and (1, 1, 1) on the +Z face, the latter at its lower corner.
    EXPECT_EQ(radianceAlong(background, {1, 1, 0}), (Vec3{7, 0, 7}));
    EXPECT_EQ(radianceAlong(background, {1, 0, 1}), (Vec3{13, 0, 7}));
    EXPECT_EQ(radianceAlong(background, {1, 1, 1}), (Vec3{14, 0, 7}));
    // Orientation: on +X, +y runs toward the face's last row in the file and +z toward column 0; on -Z, +x
    // runs toward column 0.
    EXPECT_EQ(radianceAlong(background, {1, 0.5f, 0.5f}), (Vec3{2, 0, 7}));
    EXPECT_EQ(radianceAlong(background, {1, -0.5f, -0.5f}), (Vec3{0, 2, 7}));
    EXPECT_EQ(radianceAlong(background, {0.5f, 0, -1}), (Vec3{16, 0, 7}));
    std::remove(path.c_str());
}

TEST_F(BackgroundTest, APictureThatIsNoStripIsReportedAndGetsNoVertexArray) {
    const std::string path = writeStrip("notastrip", 2, 13);
    ::testing::internal::CaptureStderr();
    Background background(path);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "error: \"" + path + "\" is not a cube map: width=2, height=13.\n");
    EXPECT_EQ(background.vertexArray, 0u);
    std::remove(path.c_str());
}

} // namespace
} // namespace verdanium
