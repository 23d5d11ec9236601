#include "tracer/path_kernel.h"

#include "geometry/ray.h"
#include "platform/window.h"
#include "support/gl_test_context.h"
#include "tracer/recursive_path_tracer.h"
#include "tracer/tiny_scenes.h"
#include "world/cone_light.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace verdanium {
namespace {

const Vec3 kBackground{0.5f, 0.25f, 0.125f};
const Vec3 kLightRadiance{10.0f, 20.0f, 40.0f};
constexpr float kLightAngle = 0.3f;

WindowSettings smallPicture() {
    WindowSettings settings;
    settings.width = 8;
    settings.height = 4;
    return settings;
}

Ray cameraRay(Vec3 origin, Vec3 direction) {
    Ray ray;
    ray.origin = origin;
    ray.direction = normalized(direction);
    ray.countsLights = true;
    return ray;
}

// The mean of many traces of one ray, per colour channel.
Vec3 meanRadiance(const RecursivePathTracer& renderer, const Scene& scene, const Ray& ray, int samples) {
    Vec3 sum;
    for (int i = 0; i < samples; ++i) {
        sum += renderer.trace(scene, ray);
    }
    return sum * (1.0f / samples);
}

class PathKernel : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        renderer = std::make_unique<RecursivePathTracer>(smallPicture());
        scene = testing::makeEmptyScene(kBackground);
    }
    std::unique_ptr<RecursivePathTracer> renderer;
    std::unique_ptr<Scene> scene;
};

TEST_F(PathKernel, EmptySceneShowsTheBackgroundAndTheLightDiscs) {
    scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, kLightAngle, kLightRadiance);
    EXPECT_EQ(renderer->trace(*scene, cameraRay({}, {1.0f, 0.0f, 0.0f})), kBackground);
    EXPECT_EQ(renderer->trace(*scene, cameraRay({}, {0.0f, 0.0f, -1.0f})), kBackground);

    // A camera ray into a disc sees the light, whatever bidirectional is.
    Ray intoLight = cameraRay({}, {0.0f, 0.1f, 1.0f});
    EXPECT_EQ(renderer->trace(*scene, intoLight), kLightRadiance);
    renderer->setBidirectional(0);
    EXPECT_EQ(renderer->trace(*scene, intoLight), kLightRadiance);

    // A bounce ray into the disc sees it only when the light is not sampled directly.
    Ray bounce = intoLight;
    bounce.countsLights = false;
    bounce.depth = 1;
    EXPECT_EQ(renderer->trace(*scene, bounce), kLightRadiance);
    renderer->setBidirectional(1);
    EXPECT_EQ(renderer->trace(*scene, bounce), Vec3{});
    // Outside every disc a bounce ray sees the background as usual.
    bounce.direction = normalized(Vec3{1.0f, 0.0f, 1.0f});
    EXPECT_EQ(renderer->trace(*scene, bounce), kBackground);
}

TEST_F(PathKernel, DepthRule) {
    renderer->setMaxDepth(2);
    Ray ray = cameraRay({}, {1.0f, 0.0f, 0.0f});
    ray.depth = 2;
    EXPECT_EQ(renderer->trace(*scene, ray), kBackground) << "a ray of depth maxDepth that misses";
    ray.depth = 3;
    EXPECT_EQ(renderer->trace(*scene, ray), Vec3{}) << "deeper than maxDepth";
    ray.depth = -1;
    EXPECT_EQ(renderer->trace(*scene, ray), Vec3{}) << "a negative depth compares as a huge unsigned one";

    // maxDepth 0: a surface seen by the camera gets nothing, neither from its bounce nor from the lights.
    testing::addFloor(*scene);
    scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, kLightAngle, kLightRadiance);
    renderer->setMaxDepth(0);
    Ray down = cameraRay({0.0f, 0.0f, 15.0f}, {0.0f, 0.0f, -1.0f});
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(renderer->trace(*scene, down), Vec3{});
    }
}

TEST_F(PathKernel, WhiteFloorUnderOneLightConvergesToTheAnalyticValue) {
    testing::addFloor(*scene);
    scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, kLightAngle, kLightRadiance);
    // A white Lambert floor facing a cone of half-angle a around its normal receives L sin^2 a from the light
    // and B (1 - sin^2 a) from the rest of the sky; nothing else is there to bounce off.
    const float share = std::sin(kLightAngle) * std::sin(kLightAngle);
    const Vec3 expected = kLightRadiance * share + kBackground * (1.0f - share);

    Ray down = cameraRay({0.0f, 0.0f, 15.0f}, {0.1f, -0.2f, -1.0f});
    // Direct sampling of the light at each bounce, and with it off, the light found by bounces alone: two
    // estimators of the same value.
    for (std::uint64_t bidirectional : {1, 0}) {
        renderer->setBidirectional(bidirectional);
        Vec3 mean = meanRadiance(*renderer, *scene, down, 100000);
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(mean[channel], expected[channel], 0.03f * expected[channel])
                << "bidirectional " << bidirectional << ", channel " << channel;
        }
    }
}

TEST_F(PathKernel, ZeroBranchesOnASurfaceIsADivisionByZero) {
    testing::addFloor(*scene);
    renderer->setSecondaryBounceCount(0);
    EXPECT_THROW(renderer->trace(*scene, cameraRay({0.0f, 0.0f, 15.0f}, {0.0f, 0.0f, -1.0f})),
                 std::domain_error);
    // A miss never divides.
    EXPECT_EQ(renderer->trace(*scene, cameraRay({0.0f, 0.0f, 15.0f}, {0.0f, 0.0f, 1.0f})), kBackground);
}

} // namespace
} // namespace verdanium
