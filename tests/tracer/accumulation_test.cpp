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

WindowSettings picture(std::uint32_t width, std::uint32_t height, bool sRgb = false) {
    WindowSettings settings;
    settings.width = width;
    settings.height = height;
    settings.sRgb = sRgb;
    return settings;
}

class Accumulation : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        scene = testing::makeEmptyScene(kBackground);
        testing::addFloor(*scene);
        scene->lights.emplace_back(Vec3{0.0f, 0.3f, 1.0f}, 0.3f, Vec3{10.0f, 10.0f, 10.0f});
    }

    // Every pixel's sample count, which must be the same everywhere after whole frames.
    static float uniformCount(const RecursivePathTracer& renderer) {
        float count = renderer.accumulation.front().w;
        for (const Vec4& sum : renderer.accumulation) {
            if (sum.w != count) {
                ADD_FAILURE() << "pixels with different counts: " << sum.w << " and " << count;
                break;
            }
        }
        return count;
    }

    std::unique_ptr<Scene> scene;
};

TEST_F(Accumulation, RestartsOnSceneChangeAndRenderModeOnly) {
    RecursivePathTracer renderer(picture(24, 20));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 1.0f);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 2.0f);

    // Depth, bounces, direct light and threads change later samples and keep the gathered ones.
    renderer.setMaxDepth(3);
    renderer.setSecondaryBounceCount(2);
    renderer.setBidirectional(0);
    renderer.setCpuThreads(1);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 3.0f);

    ++scene->changeCount;
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 1.0f);

    // Setting the mode already in force still restarts.
    renderer.render(*scene);
    renderer.setRenderMode(RenderModePathTrace);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 1.0f);

    // A raster frame touches neither the sums nor the count seen, but leaving it restarts.
    renderer.render(*scene);
    renderer.setRenderMode(RenderModeFixedRaster);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 2.0f);
    renderer.setRenderMode(RenderModePathTrace);
    renderer.render(*scene);
    EXPECT_EQ(uniformCount(renderer), 1.0f);
}

TEST_F(Accumulation, NoThreadsKeepsTheSumsAndStillDraws) {
    RecursivePathTracer renderer(picture(16, 16));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.render(*scene);
    renderer.render(*scene);
    std::vector<Vec4> sums = renderer.accumulation;
    renderer.setCpuThreads(0);
    renderer.displayPixels.clear();
    renderer.render(*scene);
    EXPECT_EQ(renderer.accumulation, sums);
    EXPECT_EQ(renderer.displayPixels.size(), sums.size());
    // Only a restart clears them.
    ++scene->changeCount;
    renderer.render(*scene);
    EXPECT_EQ(renderer.accumulation.front(), Vec4{});
}

TEST_F(Accumulation, ResizeKeepsTheSumsAndStartsNothing) {
    RecursivePathTracer renderer(picture(4, 4));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.render(*scene);
    std::vector<Vec4> sums = renderer.accumulation;

    renderer.resize(6, 4);
    ASSERT_EQ(renderer.accumulation.size(), 24u);
    EXPECT_TRUE(std::equal(sums.begin(), sums.end(), renderer.accumulation.begin()));
    EXPECT_EQ(renderer.accumulation.back(), Vec4{});
    renderer.render(*scene);
    // The old 16 sums, read with the new row length, get a second sample; the appended ones their first.
    EXPECT_EQ(renderer.accumulation[15].w, 2.0f);
    EXPECT_EQ(renderer.accumulation[16].w, 1.0f);

    renderer.resize(0, 0);
    EXPECT_EQ(renderer.width, 1u);
    EXPECT_EQ(renderer.height, 1u);
    EXPECT_EQ(renderer.accumulation.size(), 1u);
    EXPECT_EQ(renderer.accumulation[0].w, 2.0f);
}

TEST_F(Accumulation, TilesCoverAPictureOfSeventeenByOne) {
    RecursivePathTracer renderer(picture(17, 1));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setCpuThreads(2);
    renderer.render(*scene);
    EXPECT_EQ(renderer.tilesX, 2u);
    EXPECT_EQ(renderer.tilesY, 1u);
    EXPECT_EQ(renderer.tileWidth, 16u);
    EXPECT_EQ(uniformCount(renderer), 1.0f);

    renderer.setCpuThreads(1);
    renderer.render(*scene);
    EXPECT_EQ(renderer.tilesX, 1u);
    EXPECT_EQ(renderer.tileWidth, 17u);
    EXPECT_EQ(uniformCount(renderer), 2.0f);
}

TEST_F(Accumulation, ManyThreadsAgreeWithOneInExpectation) {
    // The same picture traced on the calling thread and on all pool threads: per pixel means agree within
    // their noise, and each pixel got exactly one sample per frame.
    constexpr int frames = 24;
    std::vector<Vec4> means[2];
    for (std::uint64_t threads : {1, 2}) {
        RecursivePathTracer renderer(picture(32, 24));
        renderer.setRenderMode(RenderModePathTrace);
        renderer.setCpuThreads(threads);
        for (int frame = 0; frame < frames; ++frame) {
            renderer.render(*scene);
        }
        EXPECT_EQ(uniformCount(renderer), static_cast<float>(frames));
        means[threads - 1] = renderer.accumulation;
    }
    double one = 0.0, many = 0.0;
    for (std::size_t i = 0; i < means[0].size(); ++i) {
        one += means[0][i].x + means[0][i].y + means[0][i].z;
        many += means[1][i].x + means[1][i].y + means[1][i].z;
    }
    EXPECT_NEAR(many / one, 1.0, 0.02);
}

TEST_F(Accumulation, AFailureOnAWorkerReachesTheCaller) {
    // No branches at a surface is a division by zero inside the kernel, on a pool thread here.
    RecursivePathTracer renderer(picture(16, 16));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setSecondaryBounceCount(0);
    for (std::uint64_t threads : {2, 1}) {
        renderer.setCpuThreads(threads);
        try {
            renderer.render(*scene);
            ADD_FAILURE() << "the failure was lost on " << threads << " threads";
        } catch (const std::domain_error& error) {
            EXPECT_STREQ(error.what(), "element not invertible");
        }
    }
    // The pool is free again for the next frame.
    renderer.setSecondaryBounceCount(1);
    renderer.setCpuThreads(2);
    EXPECT_NO_THROW(renderer.render(*scene));
}

TEST_F(Accumulation, ConversionDividesByTheCountAndAppliesGamma) {
    for (bool sRgb : {false, true}) {
        RecursivePathTracer renderer(picture(3, 1, sRgb));
        renderer.accumulation = {Vec4{}, Vec4{0.0f, 0.0f, 0.0f, 2.0f}, Vec4{1.0f, 0.5f, 0.25f, 4.0f}};
        renderer.convertAccumulation();
        ASSERT_EQ(renderer.displayPixels.size(), 3u);
        EXPECT_EQ(renderer.displayPixels[0], Vec4{}) << "never sampled";
        EXPECT_EQ(renderer.displayPixels[1], Vec4(0.0f, 0.0f, 0.0f, 1.0f)) << "sampled black";
        const Vec4& pixel = renderer.displayPixels[2];
        const float gamma = sRgb ? 1.0f : 0.45454544f;
        EXPECT_FLOAT_EQ(pixel.x, std::pow(0.25f, gamma));
        EXPECT_FLOAT_EQ(pixel.y, std::pow(0.125f, gamma));
        EXPECT_FLOAT_EQ(pixel.z, std::pow(0.0625f, gamma));
        EXPECT_FLOAT_EQ(pixel.w, 1.0f);
    }
}

TEST_F(Accumulation, PictureIsDrawnFromTheTopLeftDown) {
    RecursivePathTracer renderer(picture(4, 3));
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setCpuThreads(0);
    // Row 0 of the sums is the top of the picture: red there, blue in the bottom row.
    renderer.accumulation.assign(12, Vec4(0.0f, 1.0f, 0.0f, 1.0f));
    for (int x = 0; x < 4; ++x) {
        renderer.accumulation[x] = Vec4(1.0f, 0.0f, 0.0f, 1.0f);
        renderer.accumulation[8 + x] = Vec4(0.0f, 0.0f, 1.0f, 1.0f);
    }
    renderer.seenChangeCount = scene->changeCount;
    renderer.dirty = false;
    renderer.render(*scene);
    unsigned char rgba[3][4][4] = {};
    glReadPixels(0, 0, 4, 3, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    // GL reads rows from the bottom.
    EXPECT_EQ(rgba[2][0][0], 255);
    EXPECT_EQ(rgba[2][3][0], 255);
    EXPECT_EQ(rgba[1][0][1], 255);
    EXPECT_EQ(rgba[0][0][2], 255);
    EXPECT_EQ(rgba[0][0][0], 0);
}

TEST_F(Accumulation, UnknownModeWritesOneLineAndClearsDirty) {
    RecursivePathTracer renderer(picture(4, 4));
    renderer.setRenderMode(7);
    ::testing::internal::CaptureStderr();
    renderer.render(*scene);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error: unknown RenderMode: 7\n");
    EXPECT_FALSE(renderer.dirty);
}

TEST_F(Accumulation, HybridPixelsGatherTheLightOfAWhiteSurface) {
    // The floor at the origin, lit by a cone around its normal and the uniform sky: a white surface there
    // receives L sin^2 a + B (1 - sin^2 a), whichever estimator the direct light takes.
    scene->lights.clear();
    scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, 0.3f, Vec3{10.0f, 10.0f, 10.0f});
    const float share = std::sin(0.3f) * std::sin(0.3f);
    const float expected = 10.0f * share + kBackground.y * (1.0f - share);

    for (std::uint64_t threads : {1, 2}) {
        RecursivePathTracer renderer(picture(40, 30));
        renderer.scene = scene.get();
        renderer.setCpuThreads(threads);
        renderer.setSecondaryBounceCount(4);
        // 600 covered pixels, every other one, with normals of any length: three chunks of at most 256.
        for (std::uint64_t i = 0; i < 600; ++i) {
            renderer.workList.push_back({2 * i + 1, Vec3{0.0f, 0.0f, 0.0f}, Vec3{0.0f, 0.0f, 3.0f}});
        }
        renderer.clearAccumulation();
        for (int frame = 0; frame < 25; ++frame) {
            renderer.traceWorkList();
        }
        EXPECT_EQ(renderer.chunkCount, threads == 1 ? 1u : 3u);
        double sum = 0.0;
        for (std::uint64_t i = 0; i < renderer.accumulation.size(); ++i) {
            const Vec4& pixel = renderer.accumulation[i];
            // Each frame adds one sample per bounce to a covered pixel, nothing to the others.
            ASSERT_EQ(pixel.w, i % 2 == 1 ? 100.0f : 0.0f) << "pixel " << i;
            sum += pixel.y;
        }
        // The record's stored normal (length 3) scales the cosine: the estimate is three times the light.
        EXPECT_NEAR(sum / (600.0 * 100.0), 3.0 * expected, 0.03 * 3.0 * expected) << threads << " threads";
    }
}

} // namespace
} // namespace verdanium
