#include "geometry/geometry.h"
#include "geometry/ray.h"
#include "platform/window.h"
#include "raster/background.h"
#include "raster/raster_test_support.h"
#include "raster/scene_raster_state.h"
#include "tracer/camera.h"
#include "tracer/recursive_path_tracer.h"
#include "world/entity.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

namespace verdanium {
namespace {

using RasterModesTest = testing::StripSceneTest;

// In every raster mode an empty scene shows, pixel for pixel, what the tracer
// sees through the pixel centres: the box stays on the eye however far the
// camera has flown (40 units, far outside a box of side 10), turns with it, and
// the flight's view (turned half round) has the +Z face (strip rows 8 and 9) ahead.
TEST_F(RasterModesTest, AnEmptySceneShowsTheBoxAsTheTracerSeesItWithPlusZAhead) {
    scene->camera = makeTranslation({-3.0f, 2.0f, -40.0f}) * makeRotation(Vec3{0.0f, 1.0f, 0.0f}, 3.1415927f);
    std::vector<Vec3> traced;
    for (int row = 0; row < kHeight; ++row)
        for (int x = 0; x < kWidth; ++x) {
            Ray ray;
            pixelRay(*camera, x + 0.5f, (kHeight - 1 - row) + 0.5f, ray);
            ray.direction = transformDirection(scene->camera.inverse, ray.direction);
            traced.push_back(scene->background->radiance(ray));
        }

    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster, RenderModeHybrid}) {
        SCOPED_TRACE(mode);
        testing::FloatTarget target(kWidth, kHeight);
        scene->rasterize(mode, *camera);
        const std::vector<Vec4> pixels = target.read();
        std::size_t agreeing = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            ASSERT_EQ(pixels[i].z, 0.5f) << "a hole in the box at pixel " << i;
            agreeing += pixels[i].xyz() == traced[i];
        }
        // Only pixels whose centres lie on a texel's border may round the other way.
        EXPECT_GE(agreeing, pixels.size() * 98 / 100);
        const float ahead = pixels[(kHeight / 2) * kWidth + kWidth / 2].x;
        EXPECT_TRUE(ahead == testing::testStripRed(8) || ahead == testing::testStripRed(9)) << ahead;
    }
}

// Through the renderer's frame, with its raster state: in fixed-function mode a face shows GL's default
// light along the eye's +z (0.04 ambient + 0.8 diffuse, grey), in shader mode the matte program's red lit
// along (1, 1, 1) in eye space with the normal turned by the modelview. The cube stands 15 units away,
// beyond the background box, which must write no depth.
TEST_F(RasterModesTest, FacesAreLitInEyeSpaceAsEachModeSays) {
    const Transform model = makeRotation({0.0f, 1.0f, 0.0f}, 0.5f);
    addEntity(makeCube(6.0f), model);
    scene->camera = makeRotation({1.0f, 0.0f, 0.0f}, 0.3f) * scene->camera;
    RecursivePathTracer renderer(WindowSettings{.width = kWidth, .height = kHeight});
    const Vec3 faces[][2] = {{{0.8f, 0.5f, 3.0f}, {0, 0, 1}}, {{-3.0f, 0.5f, 0.8f}, {-1, 0, 0}}};
    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster}) {
        renderer.setRenderMode(mode);
        renderer.render(*scene);
        std::vector<Vec4> pixels(std::size_t(kWidth) * kHeight);
        glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_FLOAT, pixels.data());
        for (const auto& [point, normal] : faces) {
            const Vec3 eyeNormal = transformDirection((scene->camera * model).forward, normal);
            const float diffuse = dot(eyeNormal, normalized(Vec3{1.0f, 1.0f, 1.0f}));
            const Vec3 expected = mode == RenderModeFixedRaster
                                      ? Vec3{1.0f, 1.0f, 1.0f} * (0.04f + 0.8f * std::fmax(eyeNormal.z, 0.0f))
                                      : Vec3{0.15f + 0.85f * std::fmax(diffuse, 0.0f), 0.0f, 0.0f};
            const Vec3 actual = pixels[pixelOf(transformPoint(model.forward, point))].xyz();
            EXPECT_TRUE(testing::near(actual, expected, 1.5f / 255.0f))
                << "mode " << mode << ", face " << normal.x << " " << normal.y << " " << normal.z << ": "
                << actual.x << " " << actual.y << " " << actual.z << " for " << expected.x;
        }
    }
}

// Modes 0 and 4 cannot be drawn: one message per object (background and two
// entities), nothing drawn, nothing pushed.
TEST_F(RasterModesTest, EachPassLeavesTheStateOfItsTableAndOtherModesAreReported) {
    addEntity(makeCube(4.0f), makeTranslation({-4.0f, 0.0f, 0.0f}));
    Entity& last = addEntity(makeCube(4.0f), makeRotation({0.0f, 0.0f, 1.0f}, 0.3f));
    testing::FloatTarget target(kWidth, kHeight);
    const int depthBefore = testing::boundState()[3];
    // The frame's raster state: each pass that changes enables gives them back.
    glEnable(GL_LIGHTING);
    glEnable(GL_DEPTH_TEST);

    for (std::uint32_t mode : {1u, 2u, 3u, 0u, 4u}) {
        SCOPED_TRACE(mode);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_TEXTURE);
        ::testing::internal::CaptureStderr();
        scene->rasterize(static_cast<RenderMode>(mode), *camera);
        const std::string output = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(testing::boundState(), (std::array<int, 4>{0, 0, 0, depthBefore}));
        EXPECT_TRUE(glIsEnabled(GL_LIGHTING) && glIsEnabled(GL_DEPTH_TEST) && !glIsEnabled(GL_TEXTURE_2D));
        GLint matrixMode = -1;
        glGetIntegerv(GL_MATRIX_MODE, &matrixMode);
        Mat4 projection, modelView;
        glGetFloatv(GL_PROJECTION_MATRIX, projection.data());
        glGetFloatv(GL_MODELVIEW_MATRIX, modelView.data());
        if (mode == RenderModeFixedRaster) {
            // The last entity's modelview stays loaded and current.
            EXPECT_EQ(matrixMode, GL_MODELVIEW);
            EXPECT_EQ(modelView, (scene->camera * last.transform).forward);
            EXPECT_EQ(projection, camera->projection.forward);
        } else {
            EXPECT_EQ(matrixMode, GL_TEXTURE) << "the fixed matrices are left alone";
            EXPECT_EQ(projection, Mat4::identity());
        }
        if (isRasterMode(mode)) {
            EXPECT_EQ(output, "");
        } else {
            const std::string line = "error: cannot rasterize in RenderMode " + std::to_string(mode) + "\n";
            EXPECT_EQ(output, line + line + line);
            for (const Vec4& pixel : target.read())
                ASSERT_EQ(pixel, Vec4{});
        }
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    glMatrixMode(GL_MODELVIEW);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
}

// Meshes that reach into the picture by a sliver still show in the shader modes, which leave out the
// meshes that lie wholly outside the view: cubes whose inner faces cross the plane 1.5 pixels inside each
// edge of the picture (most corners outside, none more than a few pixels in), then a cube around the near
// plane (half its corners behind it).
TEST_F(RasterModesTest, MeshesThatReachIntoThePictureBySliverAreDrawn) {
    const Mat4 unproject = scene->camera.inverse * camera->projection.inverse;
    const auto worldAt = [&](float ndcX, float ndcY, float ndcZ) {
        const Vec4 point = unproject * Vec4(Vec3{ndcX, ndcY, ndcZ}, 1.0f);
        return point.xyz() * (1.0f / point.w);
    };
    const float insideX = 1.0f - 3.0f / kWidth, insideY = 1.0f - 3.0f / kHeight;
    addEntity(makeCube(4.0f), makeTranslation(worldAt(-insideX, 0, 0.9f) + Vec3{-2, 0, 0}));
    addEntity(makeCube(4.0f), makeTranslation(worldAt(insideX, 0, 0.9f) + Vec3{2, 0, 0}));
    addEntity(makeCube(4.0f), makeTranslation(worldAt(0, -insideY, 0.9f) + Vec3{0, -2, 0}));
    addEntity(makeCube(4.0f), makeTranslation(worldAt(0, insideY, 0.9f) + Vec3{0, 2, 0}));
    for (RenderMode mode : {RenderModeShaderRaster, RenderModeHybrid}) {
        SCOPED_TRACE(mode);
        for (bool nearCube : {false, true}) {
            if (nearCube)
                addEntity(makeCube(0.5f), makeTranslation(worldAt(0, 0, -1.0f)));
            testing::FloatTarget target(kWidth, kHeight);
            scene->rasterize(mode, *camera);
            const std::vector<Vec4> pixels = target.read();
            // Every background texel has blue 0.5; the cubes do not.
            const auto drawn = [&](int x, int y) { return pixels[y * kWidth + x].z != 0.5f; };
            if (nearCube) {
                EXPECT_TRUE(drawn(kWidth / 2, kHeight / 2)) << "the cube around the near plane";
                scene->entities.erase(std::prev(scene->entities.end()));
                continue;
            }
            int left = 0, right = 0, bottom = 0, top = 0, inner = 0;
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    left += x < 2 && drawn(x, y);
                    right += x >= kWidth - 2 && drawn(x, y);
                    bottom += y < 2 && drawn(x, y);
                    top += y >= kHeight - 2 && drawn(x, y);
                    inner += x >= 8 && x < kWidth - 8 && y >= 8 && y < kHeight - 8 && drawn(x, y);
                }
            EXPECT_GT(left, 0);
            EXPECT_GT(right, 0);
            EXPECT_GT(bottom, 0);
            EXPECT_GT(top, 0);
            EXPECT_EQ(inner, 0) << "the cubes are slivers";
        }
    }
}

} // namespace
} // namespace verdanium
