#include "geometry/ray.h"
#include "raster/background.h"
#include "raster/raster_test_support.h"
#include "tracer/camera.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

namespace verdanium {
namespace {

using testing::FloatTarget;

// The flight's camera: turned half round so that it looks along +z.
Transform flightView(Vec3 eye) {
    return makeTranslation(Vec3{0.0f, 0.0f, 0.0f} - eye) * makeRotation(Vec3{0.0f, 1.0f, 0.0f}, 3.1415927f);
}

// What the tracer sees through the centre of each pixel, rows from the bottom
// as GL reads them back.
std::vector<Vec3> tracedBackground(const Background& background, const Camera& camera,
                                   const Transform& view) {
    std::vector<Vec3> pixels;
    for (std::uint32_t row = 0; row < camera.height; ++row)
        for (std::uint32_t x = 0; x < camera.width; ++x) {
            Ray ray;
            pixelRay(camera, x + 0.5f, (camera.height - 1 - row) + 0.5f, ray);
            ray.direction = transformDirection(view.inverse, ray.direction);
            pixels.push_back(background.radiance(ray));
        }
    return pixels;
}

class BackgroundDrawTest : public testing::StripSceneTest {
protected:
    std::vector<Vec4> draw(RenderMode mode) {
        FloatTarget target(kWidth, kHeight);
        scene->rasterize(mode, *camera);
        return target.read();
    }
};

TEST_F(BackgroundDrawTest, AnEmptySceneShowsTheBoxAsTheTracerSeesItWithPlusZAhead) {
    scene->camera = flightView({3.0f, -2.0f, 40.0f});
    const std::vector<Vec3> expected = tracedBackground(*scene->background, *camera, scene->camera);
    const Vec3 ahead = testing::testStripTexel(8, 0); // +Z is the fifth face: rows 8 and 9

    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster, RenderModeHybrid}) {
        SCOPED_TRACE(mode);
        const std::vector<Vec4> pixels = draw(mode);
        std::size_t agreeing = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            // Every pixel shows some texel of the strip: no hole in the box.
            EXPECT_GT(pixels[i].z, 0.0f) << "pixel " << i;
            agreeing += pixels[i].xyz() == expected[i];
        }
        // Only pixels whose centres lie on a texel's border may round the other way.
        EXPECT_GE(agreeing, pixels.size() * 98 / 100);
        const Vec3 centre = pixels[(kHeight / 2) * kWidth + kWidth / 2].xyz();
        EXPECT_TRUE(centre.x == ahead.x || centre.x == testing::testStripTexel(9, 0).x) << centre.x;
    }
}

TEST_F(BackgroundDrawTest, TheBoxTurnsWithTheCameraButNeverMovesWithIt) {
    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster}) {
        SCOPED_TRACE(mode);
        scene->camera = flightView({0.0f, 0.0f, 0.0f});
        const std::vector<Vec4> atHome = draw(mode);
        scene->camera = flightView({4000.0f, -300.0f, 1900.0f});
        EXPECT_EQ(draw(mode), atHome);
        // Looking the other way (down -z) shows the -Z face ahead instead.
        scene->camera = Transform{};
        const Vec3 centre = draw(mode)[(kHeight / 2) * kWidth + kWidth / 2].xyz();
        EXPECT_TRUE(centre.x == testing::testStripTexel(10, 0).x ||
                    centre.x == testing::testStripTexel(11, 0).x)
            << centre.x;
    }
}

} // namespace
} // namespace verdanium
