#include "geometry/geometry.h"
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

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace verdanium {
namespace {

using testing::FloatTarget;

struct PixelBox {
    float left = 1e30f, bottom = 1e30f, right = -1e30f, top = -1e30f;
    void add(float x, float y) {
        left = std::min(left, x);
        right = std::max(right, x);
        bottom = std::min(bottom, y);
        top = std::max(top, y);
    }
    bool containsWithMargin(float x, float y, float margin) const {
        return x > left + margin && x < right - margin && y > bottom + margin && y < top - margin;
    }
};

class RasterModesTest : public testing::StripSceneTest {
protected:
    // A cube of side 4 at `position`.
    Entity& addCube(Vec3 position, const Transform& turn = Transform{}) {
        return addEntity(makeCube(4.0f), makeTranslation(position) * turn);
    }

    // The pass as the renderer runs it for modes 1 and 2: the raster state
    // bracketed by a push and a pop.
    std::vector<Vec4> draw(RenderMode mode) {
        FloatTarget target(kWidth, kHeight);
        glPushAttrib(kAllAttributeBits);
        applyRasterState();
        scene->rasterize(mode, *camera);
        glPopAttrib();
        return target.read();
    }

    // Where a world point lands, in pixels from the bottom left corner.
    Vec3 project(Vec3 world) const {
        const Vec4 clip = camera->projection.forward * (scene->camera.forward * Vec4(world, 1.0f));
        return {(clip.x / clip.w + 1.0f) * 0.5f * kWidth, (clip.y / clip.w + 1.0f) * 0.5f * kHeight, 0.0f};
    }
};

TEST_F(RasterModesTest, ShaderRasterDrawsARedEntityWhereTheProjectionPutsIt) {
    const Vec3 centre{3.0f, 2.0f, 0.0f};
    addCube(centre);
    const std::vector<Vec4> pixels = draw(RenderModeShaderRaster);

    // The face towards the eye (z = +2, the eye is at z = 15) must be covered
    // inside its projected square; nothing outside all eight corners may be.
    PixelBox front, all;
    for (float x : {-2.0f, 2.0f})
        for (float y : {-2.0f, 2.0f})
            for (float z : {-2.0f, 2.0f}) {
                const Vec3 p = project(centre + Vec3{x, y, z});
                all.add(p.x, p.y);
                if (z > 0)
                    front.add(p.x, p.y);
            }
    ASSERT_GT(front.right - front.left, 6.0f) << "the cube should span several pixels";
    std::size_t red = 0;
    for (std::int32_t y = 0; y < kHeight; ++y)
        for (std::int32_t x = 0; x < kWidth; ++x) {
            const Vec4 pixel = pixels[y * kWidth + x];
            const bool isRed = pixel.x > 0.1f && pixel.y == 0.0f && pixel.z == 0.0f && pixel.w == 1.0f;
            red += isRed;
            if (front.containsWithMargin(x + 0.5f, y + 0.5f, 1.0f)) {
                EXPECT_TRUE(isRed) << x << "," << y;
            }
            if (!all.containsWithMargin(x + 0.5f, y + 0.5f, -1.0f)) {
                EXPECT_EQ(pixel.z, 0.5f) << "background expected at " << x << "," << y;
            }
        }
    EXPECT_GT(red, 0u);
    // The projected centre itself is red.
    const Vec3 middle = project(centre + Vec3{0.0f, 0.0f, 2.0f});
    EXPECT_GT(pixels[static_cast<int>(middle.y) * kWidth + static_cast<int>(middle.x)].x, 0.1f);
}

TEST_F(RasterModesTest, EachPassLeavesTheStateOfItsTable) {
    addCube({-4.0f, 0.0f, 0.0f});
    Entity& last = addCube({4.0f, 0.0f, 0.0f}, makeRotation({0.0f, 0.0f, 1.0f}, 0.3f));
    FloatTarget target(kWidth, kHeight);
    const GLint depthBefore = testing::currentBoundState().attributeDepth;

    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster, RenderModeHybrid}) {
        SCOPED_TRACE(mode);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_TEXTURE);
        scene->rasterize(mode, *camera);
        EXPECT_EQ(testing::currentBoundState(), (testing::BoundState{0, 0, 0, depthBefore}));
        GLint value = -1;
        glGetIntegerv(GL_MATRIX_MODE, &value);
        Mat4 projection;
        glGetFloatv(GL_PROJECTION_MATRIX, projection.data());
        if (mode == RenderModeFixedRaster) {
            // The modelview of the last entity drawn stays loaded and current.
            EXPECT_EQ(value, GL_MODELVIEW);
            Mat4 modelView;
            glGetFloatv(GL_MODELVIEW_MATRIX, modelView.data());
            EXPECT_EQ(modelView, (scene->camera * last.transform).forward);
            EXPECT_EQ(projection, camera->projection.forward);
        } else {
            // The shader passes do not touch the fixed pipeline's matrices.
            EXPECT_EQ(value, GL_TEXTURE);
            EXPECT_EQ(projection, Mat4::identity());
        }
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(RasterModesTest, ModesThatCannotRasterizeAreReportedOncePerObject) {
    addCube({-4.0f, 0.0f, 0.0f});
    addCube({0.0f, 0.0f, 0.0f});
    addCube({4.0f, 0.0f, 0.0f});
    for (std::uint32_t mode : {0u, 4u, 17u}) {
        FloatTarget target(kWidth, kHeight);
        const GLint depthBefore = testing::currentBoundState().attributeDepth;
        ::testing::internal::CaptureStderr();
        scene->rasterize(static_cast<RenderMode>(mode), *camera);
        const std::string line = "error: cannot rasterize in RenderMode " + std::to_string(mode) + "\n";
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), line + line + line + line);
        for (const Vec4& pixel : target.read())
            ASSERT_EQ(pixel, Vec4{});
        EXPECT_EQ(testing::currentBoundState().attributeDepth, depthBefore) << "nothing pushed";
    }
}

TEST_F(RasterModesTest, TheRendererDrawsBothRasterModesAndLeavesTheSumsAlone) {
    addCube({0.0f, 0.0f, 0.0f});
    WindowSettings settings;
    settings.width = kWidth;
    settings.height = kHeight;
    RecursivePathTracer renderer(settings);
    // Raster frames neither add to the sums nor count as traced frames.
    std::fill(renderer.accumulation.begin(), renderer.accumulation.end(), Vec4{1.0f, 2.0f, 3.0f, 4.0f});
    const std::uint64_t seen = renderer.seenChangeCount;

    for (RenderMode mode : {RenderModeFixedRaster, RenderModeShaderRaster}) {
        SCOPED_TRACE(mode);
        FloatTarget target(kWidth, kHeight);
        renderer.setRenderMode(mode);
        renderer.render(*scene);
        const std::vector<Vec4> pixels = target.read();
        const Vec4 centre = pixels[(kHeight / 2) * kWidth + kWidth / 2];
        if (mode == RenderModeShaderRaster) {
            EXPECT_TRUE(centre.x > 0.1f && centre.y == 0.0f && centre.z == 0.0f) << centre.x;
        } else {
            EXPECT_TRUE(centre.x > 0.1f && centre.x == centre.y && centre.y == centre.z) << centre.x;
        }
        EXPECT_EQ(pixels.front().z, 0.5f) << "the background in the corner";

        const testing::BoundState state = testing::currentBoundState();
        EXPECT_EQ(state.program, 0);
        EXPECT_EQ(state.vertexArray, 0);
        EXPECT_EQ(state.attributeDepth, 0);
        EXPECT_FALSE(glIsEnabled(GL_LIGHTING)) << "the raster state is popped";
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    EXPECT_EQ(renderer.seenChangeCount, seen);
    for (const Vec4& sum : renderer.accumulation)
        ASSERT_EQ(sum, (Vec4{1.0f, 2.0f, 3.0f, 4.0f}));
}

} // namespace
} // namespace verdanium
