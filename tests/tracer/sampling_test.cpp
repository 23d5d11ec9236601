// The tracer's pure maps: pixels to camera rays, the square to the disc, and samples of a cone light.

#include "geometry/ray.h"
#include "tracer/camera.h"
#include "tracer/light_sampling.h"
#include "tracer/surface_shading.h"
#include "world/cone_light.h"

#include <gtest/gtest.h>

#include <cmath>

namespace verdanium {
namespace {

TEST(Camera, PixelRaysSpanNinetyDegreesOnTheShorterSide) {
    struct Case {
        std::uint32_t width, height;
        float x, y;
        Vec3 direction; // before normalising
    };
    const float w = 4.0f / 3.0f;
    const Case cases[] = {
        {640, 480, 0, 0, {-w, 1, -1}},     {640, 480, 640, 0, {w, 1, -1}},   {640, 480, 0, 480, {-w, -1, -1}},
        {640, 480, 640, 480, {w, -1, -1}}, {640, 480, 320, 240, {0, 0, -1}}, {480, 640, 0, 0, {-1, w, -1}},
        {480, 640, 480, 640, {1, -w, -1}}, {100, 100, 0, 100, {-1, -1, -1}}, {100, 100, 50, 50, {0, 0, -1}},
        {0, 0, 0.5f, 0.5f, {0, 0, -1}}, // a zero size counts as one
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(::testing::Message()
                     << each.width << " x " << each.height << " at " << each.x << ", " << each.y);
        const Camera camera = makeProjectedCamera(each.width, each.height);
        Ray ray;
        pixelRay(camera, each.x, each.y, ray);
        const Vec3 expected = normalized(each.direction);
        EXPECT_LT(length(ray.direction - expected), 1e-5f);
    }
}

TEST(Lambert, ReflectsColourTimesCosineOverPiOnlyWithBothDirectionsStrictlyAbove) {
    const Vec3 colour{1.0f, 0.5f, 0.25f};
    const Vec3 above{0.3f, 0.4f, 0.5f}, grazing{1.0f, 0.0f, 0.0f}, below{0.0f, 0.6f, -0.8f};
    EXPECT_EQ(lambert(above, {0.0f, 0.6f, 0.8f}, colour), colour * 0.8f * 0.31830987f);
    EXPECT_EQ(lambert({0.0f, 0.0f, 2.0f}, above, colour), colour * 0.5f * 0.31830987f) << "wi as given";
    for (const auto& [wo, wi] : {std::pair{below, above}, {above, below}, {grazing, above}, {above, grazing}})
        EXPECT_EQ(lambert(wo, wi, colour), Vec3{}) << wo.z << ", " << wi.z;
}

TEST(SampleConeLight, StaysInsideTheConeReachesItsRimAndCarriesTheLight) {
    ConeLight light({1.0f, -1.0f, 0.0f}, 0.15707964f, {20.0f, 20.0f, 50.0f});
    const float cosAngle = std::cos(light.angle);
    Vec3 meanDirection;
    float smallestCosine = 1.0f;
    for (int i = 0; i < 20000; ++i) {
        const LightSample sample = sampleConeLight(light);
        ASSERT_NEAR(length(sample.direction), 1.0f, 1e-5f);
        const float cosine = dot(sample.direction, light.direction);
        ASSERT_GE(cosine, cosAngle - 1e-6f);
        smallestCosine = std::fmin(smallestCosine, cosine);
        ASSERT_EQ(sample.radiance, light.radiance);
        ASSERT_EQ(sample.density, light.pdf);
        meanDirection += sample.direction;
    }
    // Uniform over the cone: the samples reach out to the rim, and their mean lies on the axis.
    EXPECT_LT(smallestCosine, cosAngle + 1e-4f);
    EXPECT_GT(dot(normalized(meanDirection), light.direction), 0.99999f);
}

} // namespace
} // namespace verdanium
