#include "tracer/light_sampling.h"

#include "geometry/ray.h"
#include "support/gl_test_context.h"
#include "tracer/tiny_scenes.h"
#include "world/cone_light.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cmath>

namespace verdanium {
namespace {

const Vec3 kBackground{0.5f, 0.25f, 0.125f};

TEST(SampleConeLight, StaysInsideTheConeAndCarriesTheLight) {
    ConeLight light({1.0f, -1.0f, 0.0f}, 0.15707964f, {20.0f, 20.0f, 50.0f});
    const float cosAngle = std::cos(light.angle);
    Vec3 meanDirection;
    float smallestCosine = 1.0f;
    for (int i = 0; i < 20000; ++i) {
        LightSample sample = sampleConeLight(light);
        ASSERT_NEAR(length(sample.direction), 1.0f, 1e-5f);
        float cosine = dot(sample.direction, light.direction);
        ASSERT_GE(cosine, cosAngle - 1e-6f);
        smallestCosine = std::fmin(smallestCosine, cosine);
        ASSERT_EQ(sample.radiance, light.radiance);
        ASSERT_EQ(sample.density, light.pdf);
        meanDirection += sample.direction;
    }
    // Uniform over the cone: the samples reach out to the rim, and their mean lies on the axis.
    EXPECT_LT(smallestCosine, cosAngle + 1e-4f);
    Vec3 axis = normalized(meanDirection);
    EXPECT_GT(dot(axis, light.direction), 0.99999f);
}

class EnvironmentRadiance : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        scene = testing::makeEmptyScene(kBackground);
        scene->lights.emplace_back(Vec3{0.0f, 0.0f, 1.0f}, 0.5f, Vec3{1.0f, 2.0f, 3.0f});
        scene->lights.emplace_back(Vec3{0.0f, 0.2f, 1.0f}, 0.5f, Vec3{7.0f, 8.0f, 9.0f});
    }
    static Ray ray(Vec3 direction, bool countsLights) {
        Ray result;
        result.direction = direction;
        result.countsLights = countsLights;
        return result;
    }
    std::unique_ptr<Scene> scene;
};

TEST_F(EnvironmentRadiance, TheRimIsOutsideTheDisc) {
    // A direction whose cosine to the axis is exactly cos(angle) is on the rim, which the strict test leaves
    // out; one step further in, it is inside.
    const float z = std::cos(scene->lights[0].angle);
    Vec3 rim{std::sqrt(1.0f - z * z), 0.0f, z};
    ASSERT_EQ(dot(rim, scene->lights[0].direction), z);
    EXPECT_EQ(environmentRadiance(*scene, ray(rim, true), true), kBackground);
    rim.z = std::nextafter(z, 1.0f);
    EXPECT_EQ(environmentRadiance(*scene, ray(rim, true), true), (Vec3{1.0f, 2.0f, 3.0f}));
}

TEST_F(EnvironmentRadiance, FirstLightOnlyAndCountsLights) {
    // Inside both discs: the first light in order wins.
    Vec3 both = normalized(Vec3{0.0f, 0.1f, 1.0f});
    EXPECT_EQ(environmentRadiance(*scene, ray(both, true), true), (Vec3{1.0f, 2.0f, 3.0f}));
    // A bounce ray sees a disc only when the lights are not sampled directly.
    EXPECT_EQ(environmentRadiance(*scene, ray(both, false), true), Vec3{});
    EXPECT_EQ(environmentRadiance(*scene, ray(both, false), false), (Vec3{1.0f, 2.0f, 3.0f}));
    // Camera and shadow rays always do.
    EXPECT_EQ(environmentRadiance(*scene, ray(both, true), false), (Vec3{1.0f, 2.0f, 3.0f}));
    // Outside every disc: the background, however the ray counts lights.
    Vec3 away{1.0f, 0.0f, -1.0f};
    EXPECT_EQ(environmentRadiance(*scene, ray(away, false), true), kBackground);
    EXPECT_EQ(environmentRadiance(*scene, ray(away, true), false), kBackground);
}

} // namespace
} // namespace verdanium
