// The renderer's frame shape and settings on a real window (Xvfb under make test).

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/event.h"
#include "platform/window.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <GL/glew.h>

#include <cstdlib>
#include <memory>
#include <sstream>

namespace verdanium {
namespace {

class RendererFrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display)
            GTEST_SKIP() << "no X display";
        WindowSettings settings;
        settings.width = 64;
        settings.height = 48;
        settings.redBits = settings.greenBits = settings.blueBits = settings.alphaBits = 8;
        settings.depthBits = 24;
        settings.stencilBits = 8;
        window = std::make_unique<Window>(settings);
        tracer = std::make_unique<RecursivePathTracer>(*window, settings);
        gEventQueue.clear();
    }
    void TearDown() override {
        tracer.reset();
        window.reset();
        gEventQueue.clear();
    }

    std::unique_ptr<Window> window;
    std::unique_ptr<RecursivePathTracer> tracer;
    Scene scene{kEmptyScene};
};

TEST_F(RendererFrameTest, StartsWithTheDefaultSettingsAndTheWindowsSize) {
    EXPECT_EQ(tracer->window, window.get());
    EXPECT_FALSE(tracer->srgbOutput);
    EXPECT_EQ(tracer->maxDepth, 5u);
    EXPECT_EQ(tracer->secondaryBounceCount, 3u);
    EXPECT_EQ(tracer->bidirectional, 1u);
    EXPECT_EQ(tracer->renderMode, 3u);
    EXPECT_EQ(tracer->cpuThreads, 2u);
    EXPECT_TRUE(tracer->dirty);
    EXPECT_EQ(tracer->scene, nullptr);
    EXPECT_EQ(tracer->seenChangeCount, ~std::uint64_t{0});
    EXPECT_EQ(tracer->width, 64u);
    EXPECT_EQ(tracer->height, 48u);
    EXPECT_EQ(tracer->camera.width, 64u);
    EXPECT_EQ(tracer->accumulation.size(), 64u * 48u);
    GLint alignment = 0;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    EXPECT_EQ(alignment, 1);
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    EXPECT_EQ(alignment, 1);
}

TEST_F(RendererFrameTest, RenderKeepsTheSceneClearsDirtyAndLeavesGlClean) {
    tracer->render(scene);
    EXPECT_EQ(tracer->scene, &scene);
    EXPECT_FALSE(tracer->dirty);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    // Only the render mode restarts the picture, even when it is set again.
    tracer->setMaxDepth(9);
    tracer->setSecondaryBounceCount(4);
    tracer->setBidirectional(0);
    tracer->setCpuThreads(7);
    EXPECT_FALSE(tracer->dirty);
    EXPECT_EQ(tracer->maxDepth, 9u);
    EXPECT_EQ(tracer->secondaryBounceCount, 4u);
    EXPECT_EQ(tracer->bidirectional, 0u);
    EXPECT_EQ(tracer->cpuThreads, 7u);
    tracer->setRenderMode(3);
    EXPECT_TRUE(tracer->dirty);
    tracer->render(scene);
    EXPECT_FALSE(tracer->dirty);
}

TEST_F(RendererFrameTest, UnknownModeCostsOneErrorLinePerFrame) {
    tracer->setRenderMode(7);
    ::testing::internal::CaptureStderr();
    tracer->render(scene);
    tracer->render(scene);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "error: unknown RenderMode: 7\nerror: unknown RenderMode: 7\n");
    EXPECT_FALSE(tracer->dirty);
}

TEST_F(RendererFrameTest, ResizeKeepsTheOldSumsAndTreatsZeroAsOne) {
    tracer->render(scene);
    tracer->accumulation[0] = Vec4{1, 2, 3, 4};
    tracer->resize(0, 0);
    EXPECT_EQ(tracer->width, 1u);
    EXPECT_EQ(tracer->height, 1u);
    ASSERT_EQ(tracer->accumulation.size(), 1u);
    EXPECT_EQ(tracer->accumulation[0], (Vec4{1, 2, 3, 4}));
    EXPECT_FALSE(tracer->dirty); // a resize alone starts no new picture

    tracer->resize(3, 2);
    ASSERT_EQ(tracer->accumulation.size(), 6u);
    EXPECT_EQ(tracer->accumulation[0], (Vec4{1, 2, 3, 4}));
    EXPECT_EQ(tracer->accumulation[5], Vec4{});
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 3);
    EXPECT_EQ(viewport[3], 2);
}

TEST_F(RendererFrameTest, GlInfoListsOneExtensionPerLine) {
    std::ostringstream out;
    tracer->printGlInfo(out);
    const std::string text = out.str();
    EXPECT_TRUE(text.starts_with("gl vendor: ")) << text;
    EXPECT_NE(text.find("\ngl version: "), std::string::npos);
    EXPECT_NE(text.find("\ngl extensions: \n  GL_"), std::string::npos);
    EXPECT_NE(text.find("\nglu version: "), std::string::npos);
    EXPECT_NE(text.find("\nglew version: "), std::string::npos);
}

} // namespace
} // namespace verdanium
