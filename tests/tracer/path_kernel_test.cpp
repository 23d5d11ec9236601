#include "tracer/path_kernel.h"

#include "foundation/math/transform.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "platform/window.h"
#include "raster/image.h"
#include "raster/material.h"
#include "support/gl_test_context.h"
#include "tracer/camera.h"
#include "tracer/light_sampling.h"
#include "tracer/recursive_path_tracer.h"
#include "tracer/surface_shading.h"
#include "tracer/tiny_scenes.h"
#include "world/cone_light.h"
#include "world/entity.h"
#include "world/random.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace verdanium {
namespace {

const Vec3 kBackground{0.5f, 0.25f, 0.125f};
const Vec3 kLight{10.0f, 20.0f, 40.0f};
constexpr float kLightAngle = 0.3f;

Ray cameraRay(Vec3 origin, Vec3 direction, bool countsLights = true) {
    Ray ray;
    ray.origin = origin;
    ray.direction = normalized(direction);
    ray.countsLights = countsLights;
    return ray;
}

class PathKernel : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        WindowSettings settings;
        settings.width = 8;
        settings.height = 4;
        renderer = std::make_unique<RecursivePathTracer>(settings);
        scene = testing::makeEmptyScene(kBackground);
        scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, kLightAngle, kLight);
    }
    std::unique_ptr<RecursivePathTracer> renderer;
    std::unique_ptr<Scene> scene;
};

TEST_F(PathKernel, EnvironmentRimIsOutsideTheDiscAndTheFirstLightWins) {
    // A direction whose cosine to the axis is exactly cos(angle) is on the rim, which the strict test leaves
    // out; one step further in, it is inside.
    const float z = std::cos(kLightAngle);
    Vec3 rim{std::sqrt(1.0f - z * z), 0.0f, z};
    ASSERT_EQ(dot(rim, scene->lights[0].direction), z);
    EXPECT_EQ(environmentRadiance(*scene, cameraRay({}, rim), true), kBackground);
    rim.z = std::nextafter(z, 1.0f);
    EXPECT_EQ(environmentRadiance(*scene, cameraRay({}, rim), true), kLight);
    // Inside both discs the first light in order wins.
    scene->lights.emplace_back(Vec3{0.0f, 0.2f, 1.0f}, 0.5f, Vec3{7.0f, 8.0f, 9.0f});
    EXPECT_EQ(environmentRadiance(*scene, cameraRay({}, {0.0f, 0.1f, 1.0f}), true), kLight);
}

// A floor of one colour: a texture of one texel, or white without one.
void paintFloor(Scene& scene, Vec3 colour) {
    auto image = std::make_shared<Image>();
    image->width = image->height = 1;
    image->pixels = {colour};
    scene.entities.rbegin()->second->materials[0].texture.image = image;
}

TEST_F(PathKernel, FloorUnderOneLightConvergesToTheAnalyticValueAtEveryDepthAndEstimator) {
    testing::addFloor(*scene);
    // A Lambert floor of albedo c facing a cone of half-angle a around its normal receives c (L sin^2 a +
    // B (1 - sin^2 a)); nothing else is there to bounce off. With the light sampled directly (the colour of
    // the hit weighs that part too) and without (bounces alone find the disc), at depth 1 (the direct light
    // of the first hit is the last one allowed) and at the default depth.
    const float share = std::sin(kLightAngle) * std::sin(kLightAngle);
    const Ray down = cameraRay({0.0f, 0.0f, 15.0f}, {0.1f, -0.2f, -1.0f});
    struct Case {
        std::uint64_t maxDepth, bidirectional;
        Vec3 colour;
    };
    for (const Case& each : {Case{5, 1, {1, 1, 1}}, Case{5, 0, {1, 1, 1}}, Case{1, 1, {0.8f, 0.5f, 0.25f}},
                             Case{1, 0, {0.25f, 1.0f, 0.5f}}}) {
        renderer->setMaxDepth(each.maxDepth);
        renderer->setBidirectional(each.bidirectional);
        paintFloor(*scene, each.colour);
        const Vec3 expected = each.colour * (kLight * share + kBackground * (1.0f - share));
        Vec3 sum;
        const int samples = 60000;
        for (int i = 0; i < samples; ++i)
            sum += renderer->trace(*scene, down);
        for (int channel = 0; channel < 3; ++channel)
            EXPECT_NEAR(sum[channel] / samples, expected[channel], 0.03f * expected[channel])
                << "maxDepth " << each.maxDepth << ", bidirectional " << each.bidirectional << ", channel "
                << channel;
    }
}

// A seeded frame on one thread is fixed to the last bit by the order of the random draws: per pixel, columns
// outer and rows inner; per path, each branch's two material draws, its subtree, then two draws per light.
TEST_F(PathKernel, SeededOneThreadFrameRepeatsItsPixelsAndSums) {
    testing::addFloor(*scene);
    paintFloor(*scene, {0.9f, 0.6f, 0.3f});
    auto cube = std::make_shared<Entity>(scene->nextEntityKey, makeCube(4.0f));
    cube->transform = makeTranslation({1.0f, 0.5f, 2.0f}) * makeRotation({0.0f, 0.0f, 1.0f}, 0.5f);
    scene->entities[scene->nextEntityKey++] = cube;
    scene->lights.emplace_back(Vec3{-0.6f, 0.2f, 0.5f}, 0.1f, Vec3{3.0f, 4.0f, 5.0f});
    // Close to the cube, looking along +y and a little down: light bounces between the cube and the floor.
    scene->camera = makeRotation({1.0f, 0.0f, 0.0f}, -1.35f) * makeTranslation({-1.0f, 4.5f, -2.5f});
    renderer->setMaxDepth(2);
    renderer->setSecondaryBounceCount(2);
    renderer->setCpuThreads(1);
    renderer->setRenderMode(RenderModePathTrace);
    gRandom.seed(MersenneTwister::kDefaultSeed);
    renderer->render(*scene);

    // The same frame written out: pixel centres at whole numbers, the view's inverse to the world.
    gRandom.seed(MersenneTwister::kDefaultSeed);
    Vec3 total;
    for (std::uint32_t x = 0; x < 8; ++x)
        for (std::uint32_t y = 0; y < 4; ++y) {
            Ray ray;
            ray.countsLights = true;
            pixelRay(renderer->camera, float(x), float(y), ray);
            ray.origin = transformPoint(scene->camera.inverse, ray.origin);
            ray.direction = transformDirection(scene->camera.inverse, ray.direction);
            const Vec3 radiance = renderer->trace(*scene, ray);
            ASSERT_EQ(renderer->accumulation[y * 8 + x], Vec4(radiance, 1.0f)) << x << ", " << y;
            total += radiance;
        }
    // The sums of the first run, so that any change of the draws' order or of the estimator shows.
    const Vec3 golden{25.5613174f, 22.7097244f, 20.4102726f};
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(total[channel], golden[channel], 1e-4f * golden[channel]) << "channel " << channel;
}

void expectNear(const Vec3& actual, const Vec3& expected, float tolerance = 1e-5f) {
    EXPECT_LT(length(actual - expected), tolerance) << actual.x << ", " << actual.y << ", " << actual.z;
}

// A hit on triangle 0 of `geometry` at barycentric (u, v), made by a ray from above along -z.
Hit hitOn(const Geometry& geometry, float u, float v) {
    Hit hit;
    hit.geometry = &geometry;
    hit.firstIndex = 0;
    hit.u = u;
    hit.v = v;
    hit.t = 2.0f;
    hit.ray.origin = {0.25f, 0.25f, 2.0f};
    hit.ray.direction = {0.0f, 0.0f, -1.0f};
    return hit;
}

Hit completedHit(const Geometry& geometry, float u, float v) {
    Hit hit = hitOn(geometry, u, v);
    completeHit(hit);
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j)
            EXPECT_NEAR(dot(hit.frame[i], hit.frame[j]), i == j ? 1.0f : 0.0f, 1e-5f)
                << "frame not orthonormal";
    return hit;
}

TEST(CompleteHit, NormalFollowsTheWindingWhateverTheTextureMap) {
    Geometry triangle;
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}};
    // Without texture coordinates the corners get (0, 0), (1, 0) and (1, 1).
    Hit hit = completedHit(triangle, 0.25f, 0.5f);
    EXPECT_TRUE(hit.complete);
    EXPECT_FLOAT_EQ(hit.uv[0], 0.75f);
    EXPECT_FLOAT_EQ(hit.uv[1], 0.5f);
    expectNear(hit.position, {0.25f, 0.25f, 0.0f});
    expectNear(hit.frame[2], {0.0f, 0.0f, 1.0f}); // counter-clockwise seen from +z
    hit.frame[2] = {9.0f, 9.0f, 9.0f};
    completeHit(hit);
    EXPECT_EQ(hit.frame[2], (Vec3{9.0f, 9.0f, 9.0f})) << "a completed hit is left as it is";

    // Clockwise from +z, with a mirrored map, then a degenerate one: the winding alone decides.
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}};
    triangle.texCoords = {{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 0.0f}};
    expectNear(completedHit(triangle, 0.2f, 0.2f).frame[2], {0.0f, 0.0f, -1.0f});
    triangle.texCoords = {{0.5f, 0.5f}, {0.5f, 0.5f}, {0.5f, 0.5f}};
    expectNear(completedHit(triangle, 0.2f, 0.2f).frame[2], {0.0f, 0.0f, -1.0f});

    // A triangle of no area has no normal at all.
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {2.0f, 0.0f, 0.0f}};
    Hit flat = hitOn(triangle, 0.2f, 0.2f);
    EXPECT_THROW(completeHit(flat), std::domain_error);
}

// A bounce off a quad turned to face -y leaves on the normal's side, from one tenth along its own direction,
// one level deeper and counting no lights.
TEST(Shading, ABounceLeavesOnTheNormalsSideOneTenthAlongItsDirection) {
    VERDANIUM_REQUIRE_GL();
    Entity quad(1, makeQuad(2.0f));
    quad.transform = makeRotation({1.0f, 0.0f, 0.0f}, 1.5707964f);
    Hit hit = hitOn(*quad.geometry, 0.2f, 0.3f);
    hit.entity = &quad;
    hit.ray = cameraRay({0.0f, -5.0f, 0.0f}, {0.0f, 1.0f, 0.0f});
    hit.ray.depth = 2;
    for (int i = 0; i < 1000; ++i) {
        Ray bounce;
        sampleMaterial(quad.materials[0], hit, bounce);
        ASSERT_LE(bounce.direction.y, 1e-6f);
        ASSERT_TRUE(bounce.depth == 3 && !bounce.countsLights && bounce.tMin == 0.1f);
        expectNear(bounce.origin, hit.position + bounce.direction * 0.1f);
    }
}

} // namespace
} // namespace verdanium
