#include "platform/window.h"
#include "support/gl_test_context.h"
#include "tracer/recursive_path_tracer.h"
#include "tracer/tiny_scenes.h"
#include "world/cone_light.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace verdanium {
namespace {

const Vec3 kBackground{0.5f, 0.25f, 0.125f};

class Accumulation : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        scene = testing::makeEmptyScene(kBackground);
        testing::addFloor(*scene);
        scene->lights.emplace_back(Vec3{0.0f, 0.3f, 1.0f}, 0.3f, Vec3{10.0f, 10.0f, 10.0f});
    }
    static std::unique_ptr<RecursivePathTracer> tracer(std::uint32_t width, std::uint32_t height,
                                                       bool sRgb = false) {
        WindowSettings settings;
        settings.width = width;
        settings.height = height;
        settings.sRgb = sRgb;
        auto renderer = std::make_unique<RecursivePathTracer>(settings);
        renderer->setRenderMode(RenderModePathTrace);
        return renderer;
    }
    // Every pixel's sample count, which must be the same everywhere after whole frames.
    static float uniformCount(const RecursivePathTracer& renderer) {
        for (const Vec4& sum : renderer.accumulation)
            if (sum.w != renderer.accumulation.front().w)
                ADD_FAILURE() << "pixels with different counts: " << sum.w << " and "
                              << renderer.accumulation.front().w;
        return renderer.accumulation.front().w;
    }
    std::unique_ptr<Scene> scene;
};

TEST_F(Accumulation, RestartsOnSceneChangeAndRenderModeOnly) {
    auto renderer = tracer(24, 20);
    renderer->render(*scene);
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 2.0f);
    // Depth, bounces, direct light and threads change later samples and keep the gathered ones.
    renderer->setMaxDepth(3);
    renderer->setSecondaryBounceCount(2);
    renderer->setBidirectional(0);
    renderer->setCpuThreads(1);
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 3.0f);
    ++scene->changeCount;
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 1.0f);
    // Setting the mode already in force still restarts.
    renderer->render(*scene);
    renderer->setRenderMode(RenderModePathTrace);
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 1.0f);
    // A raster frame touches neither the sums nor the count seen, but leaving it restarts.
    renderer->render(*scene);
    renderer->setRenderMode(RenderModeFixedRaster);
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 2.0f);
    renderer->setRenderMode(RenderModePathTrace);
    renderer->render(*scene);
    EXPECT_EQ(uniformCount(*renderer), 1.0f);
    // No threads: the sums stay as they are until a restart, and the picture is still drawn.
    const std::vector<Vec4> sums = renderer->accumulation;
    renderer->setCpuThreads(0);
    renderer->displayPixels.clear();
    renderer->render(*scene);
    EXPECT_EQ(renderer->accumulation, sums);
    EXPECT_EQ(renderer->displayPixels.size(), sums.size());
    ++scene->changeCount;
    renderer->render(*scene);
    EXPECT_EQ(renderer->accumulation.front(), Vec4{});
}

TEST_F(Accumulation, AKernelFailureOnAPoolThreadReachesTheCallerAndFreesThePool) {
    // No branches at a surface is a division by zero inside the kernel.
    auto renderer = tracer(16, 16);
    renderer->setSecondaryBounceCount(0);
    renderer->setCpuThreads(2);
    EXPECT_THROW(renderer->render(*scene), std::domain_error);
    renderer->setSecondaryBounceCount(1);
    EXPECT_NO_THROW(renderer->render(*scene));
}

TEST_F(Accumulation, AResizeKeepsTheSumsAndAWindowOfNoSizeHasOnePixel) {
    auto renderer = tracer(4, 4);
    renderer->render(*scene);
    renderer->resize(6, 4);
    renderer->render(*scene);
    // The old 16 sums, read with the new row length, get a second sample; the appended ones their first.
    EXPECT_EQ(renderer->accumulation[15].w, 2.0f);
    EXPECT_EQ(renderer->accumulation[16].w, 1.0f);
    renderer->resize(0, 0);
    EXPECT_EQ(renderer->accumulation.size(), 1u);
}

TEST_F(Accumulation, PictureIsTheMeanWithGammaDrawnFromTheTopLeftDown) {
    for (bool sRgb : {false, true}) {
        auto renderer = tracer(3, 1, sRgb);
        renderer->accumulation = {Vec4{}, Vec4{0.0f, 0.0f, 0.0f, 2.0f}, Vec4{1.0f, 0.5f, 0.25f, 4.0f}};
        renderer->convertAccumulation();
        ASSERT_EQ(renderer->displayPixels.size(), 3u);
        EXPECT_EQ(renderer->displayPixels[0], Vec4{}) << "never sampled";
        EXPECT_EQ(renderer->displayPixels[1], Vec4(0.0f, 0.0f, 0.0f, 1.0f)) << "sampled black";
        const float gamma = sRgb ? 1.0f : 0.45454544f;
        const Vec4& pixel = renderer->displayPixels[2];
        EXPECT_FLOAT_EQ(pixel.x, std::pow(0.25f, gamma));
        EXPECT_FLOAT_EQ(pixel.z, std::pow(0.0625f, gamma));
        EXPECT_FLOAT_EQ(pixel.w, 1.0f);
    }
    {
        // A picture of more than one chunk is converted by the pool's workers: the same pixels, bit for bit,
        // over an array that had a different size before.
        auto renderer = tracer(100, 50);
        renderer->accumulation.resize(5000);
        for (std::size_t i = 0; i < renderer->accumulation.size(); ++i)
            renderer->accumulation[i] = Vec4(0.001f * float(i), 0.5f, float(i % 7), float(i % 5));
        renderer->setCpuThreads(1);
        renderer->displayPixels.assign(17, Vec4(9.0f, 9.0f, 9.0f, 9.0f));
        renderer->convertAccumulation();
        const std::vector<Vec4> single = renderer->displayPixels;
        renderer->setCpuThreads(2);
        renderer->displayPixels.assign(9000, Vec4(9.0f, 9.0f, 9.0f, 9.0f));
        renderer->convertAccumulation();
        ASSERT_EQ(single.size(), 5000u);
        EXPECT_EQ(renderer->displayPixels, single);
        EXPECT_EQ(single[5], Vec4{}) << "a count of 0";
    }
    // Row 0 of the sums is the top of the picture: red there, green in the middle, blue in the bottom row.
    auto renderer = tracer(4, 3);
    renderer->setCpuThreads(0);
    renderer->accumulation.assign(12, Vec4(0.0f, 1.0f, 0.0f, 1.0f));
    for (int x = 0; x < 4; ++x) {
        renderer->accumulation[x] = Vec4(1.0f, 0.0f, 0.0f, 1.0f);
        renderer->accumulation[8 + x] = Vec4(0.0f, 0.0f, 1.0f, 1.0f);
    }
    renderer->seenChangeCount = scene->changeCount;
    renderer->dirty = false;
    renderer->render(*scene);
    unsigned char rgba[3][4][4] = {};
    glReadPixels(0, 0, 4, 3, GL_RGBA, GL_UNSIGNED_BYTE, rgba); // GL reads rows from the bottom
    EXPECT_TRUE(rgba[2][0][0] == 255 && rgba[2][3][0] == 255 && rgba[1][0][1] == 255 && rgba[0][0][2] == 255);
    EXPECT_EQ(rgba[0][0][0], 0);
}

TEST_F(Accumulation, HybridPixelsGatherTheLightOfAWhiteSurface) {
    // The floor at the origin, lit by a cone around its normal and the uniform sky: a white surface there
    // receives L sin^2 a + B (1 - sin^2 a), found by the bounces alone (on this thread, so repeatably) or
    // with the light sampled directly (on the pool).
    scene->lights.clear();
    scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, 0.3f, Vec3{10.0f, 10.0f, 10.0f});
    const float share = std::sin(0.3f) * std::sin(0.3f);
    const float expected = 10.0f * share + kBackground.y * (1.0f - share);
    for (const auto& [threads, bidirectional] : {std::pair<std::uint64_t, std::uint64_t>{1, 0}, {2, 1}}) {
        auto renderer = tracer(40, 30);
        renderer->scene = scene.get();
        renderer->setCpuThreads(threads);
        renderer->setBidirectional(bidirectional);
        renderer->setSecondaryBounceCount(4);
        // 600 covered pixels, every other one, with normals of any length: three chunks of at most 256.
        for (std::uint64_t i = 0; i < 600; ++i)
            renderer->workList.push_back({2 * i + 1, Vec3{0.0f, 0.0f, 0.0f}, Vec3{0.0f, 0.0f, 3.0f}});
        renderer->clearAccumulation();
        for (int frame = 0; frame < 25; ++frame)
            renderer->traceWorkList();
        EXPECT_EQ(renderer->chunkCount, threads == 1 ? 1u : 3u);
        double sum = 0.0;
        for (std::uint64_t i = 0; i < renderer->accumulation.size(); ++i) {
            // Each frame adds one sample per bounce to a covered pixel, nothing to the others.
            ASSERT_EQ(renderer->accumulation[i].w, i % 2 == 1 ? 100.0f : 0.0f) << "pixel " << i;
            sum += renderer->accumulation[i].y;
        }
        // The record's stored normal (length 3) scales the cosine: the estimate is three times the light.
        EXPECT_NEAR(sum / (600.0 * 100.0), 3.0 * expected, 0.03 * 3.0 * expected) << threads << " threads";
    }
}

} // namespace
} // namespace verdanium
