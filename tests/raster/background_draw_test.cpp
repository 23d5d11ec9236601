#include "geometry/ray.h"
#include "raster/background.h"
#include "raster/raster_test_support.h"
#include "support/gl_test_context.h"
#include "tracer/camera.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace verdanium {
namespace {

using testing::FloatTarget;

constexpr std::int32_t kWidth = 64;
constexpr std::int32_t kHeight = 48;

// The flight's camera: turned half round so that it looks along +z.
Transform flightView(Vec3 eye) {
    return makeTranslation(Vec3{0.0f, 0.0f, 0.0f} - eye) * makeRotation(Vec3{0.0f, 1.0f, 0.0f}, 3.1415927f);
}

// What the tracer sees through the centre of each pixel, rows from the bottom
// as GL reads them back.
std::vector<Vec3> tracedBackground(const Background& background, const Camera& camera,
                                   const Transform& view) {
    std::vector<Vec3> pixels;
    for (std::int32_t row = 0; row < kHeight; ++row)
        for (std::int32_t x = 0; x < kWidth; ++x) {
            Ray ray;
            pixelRay(camera, x + 0.5f, (kHeight - 1 - row) + 0.5f, ray);
            ray.direction = transformDirection(view.inverse, ray.direction);
            pixels.push_back(background.radiance(ray));
        }
    return pixels;
}

class BackgroundDrawTest : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        path = testing::writeTestStrip("drawn_strip");
        scene = std::make_unique<Scene>(kEmptyScene);
        scene->background = std::make_shared<Background>(path);
        camera = std::make_unique<Camera>(makeProjectedCamera(kWidth, kHeight));
    }
    void TearDown() override {
        scene.reset();
        std::remove(path.c_str());
    }

    std::vector<Vec4> draw(RenderMode mode) {
        FloatTarget target(kWidth, kHeight);
        scene->rasterize(mode, *camera);
        return target.read();
    }

    std::string path;
    std::unique_ptr<Scene> scene;
    std::unique_ptr<Camera> camera;
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

TEST_F(BackgroundDrawTest, BothPathsLeaveTheStateAsTheyFoundItButTheFixedMatrices) {
    GLint depthBefore = -1;
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depthBefore);
    scene->camera = flightView({10.0f, 20.0f, 30.0f});
    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster, RenderModeHybrid}) {
        SCOPED_TRACE(mode);
        glEnable(GL_DEPTH_TEST);
        glDisable(GL_TEXTURE_2D);
        // The passes bind and unbind the strip inside their push and pop; what
        // comes back is what the caller had, 0 in every frame of the renderer.
        glBindTexture(GL_TEXTURE_2D, 0);
        scene->background->rasterize(mode, camera->projection.forward, scene->camera);
        GLint value = -1;
        glGetIntegerv(GL_CURRENT_PROGRAM, &value);
        EXPECT_EQ(value, 0);
        glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &value);
        EXPECT_EQ(value, 0);
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &value);
        EXPECT_EQ(value, 0);
        glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &value);
        EXPECT_EQ(value, depthBefore);
        EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }

    // The fixed path leaves its matrices loaded: the view without its
    // translation, and the projection as given.
    scene->background->rasterize(RenderModeFixedRaster, camera->projection.forward, scene->camera);
    GLint matrixMode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &matrixMode);
    EXPECT_EQ(matrixMode, GL_MODELVIEW);
    Mat4 loaded;
    glGetFloatv(GL_MODELVIEW_MATRIX, loaded.data());
    Mat4 turned = scene->camera.forward;
    turned.setColumn(3, Vec4{0.0f, 0.0f, 0.0f, 1.0f});
    EXPECT_EQ(loaded, turned);
    glGetFloatv(GL_PROJECTION_MATRIX, loaded.data());
    EXPECT_EQ(loaded, camera->projection.forward);
}

TEST_F(BackgroundDrawTest, ModesThatCannotRasterizeAreReportedAndDrawNothing) {
    GLint depthBefore = -1;
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depthBefore);
    for (std::uint32_t mode : {0u, 4u, 4294967295u}) {
        FloatTarget target(kWidth, kHeight);
        ::testing::internal::CaptureStderr();
        scene->background->rasterize(static_cast<RenderMode>(mode), camera->projection.forward,
                                     scene->camera);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  "error: cannot rasterize in RenderMode " + std::to_string(mode) + "\n");
        for (const Vec4& pixel : target.read())
            ASSERT_EQ(pixel.z, 0.0f);
        GLint depth = -1;
        glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depth);
        EXPECT_EQ(depth, depthBefore);
    }
}

} // namespace
} // namespace verdanium
