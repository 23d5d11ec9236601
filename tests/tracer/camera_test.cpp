#include "tracer/camera.h"

#include "foundation/math/vec4.h"
#include "geometry/ray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace verdanium {
namespace {

Vec3 directionAt(const Camera& camera, float x, float y) {
    Ray ray;
    ray.origin = {5.0f, 5.0f, 5.0f};
    EXPECT_EQ(pixelRay(camera, x, y, ray), 1.0f);
    EXPECT_EQ(ray.origin, Vec3{});
    return ray.direction;
}

void expectDirection(const Vec3& actual, Vec3 expected) {
    expected = normalized(expected);
    EXPECT_NEAR(actual.x, expected.x, 1e-5f);
    EXPECT_NEAR(actual.y, expected.y, 1e-5f);
    EXPECT_NEAR(actual.z, expected.z, 1e-5f);
}

TEST(Camera, ScreenMapsDeviceCornersToPixelCorners) {
    Camera camera(640, 480);
    Vec4 topLeft = camera.screen.forward * Vec4(-1.0f, 1.0f, 0.0f, 1.0f);
    Vec4 bottomRight = camera.screen.forward * Vec4(1.0f, -1.0f, 0.0f, 1.0f);
    EXPECT_EQ(topLeft, Vec4(0.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(bottomRight, Vec4(640.0f, 480.0f, 0.0f, 1.0f));
    EXPECT_FALSE(camera.screen.singular);
    EXPECT_THROW(Camera(0, 480), std::domain_error);
}

TEST(Camera, LandscapePixelRaysSpanTheFrustum) {
    Camera camera = makeProjectedCamera(640, 480);
    // 90 degrees on the shorter side: x runs from -4/3 to 4/3 and y from -1 to 1
    // at the near plane.
    expectDirection(directionAt(camera, 0.0f, 0.0f), {-4.0f / 3.0f, 1.0f, -1.0f});
    expectDirection(directionAt(camera, 640.0f, 0.0f), {4.0f / 3.0f, 1.0f, -1.0f});
    expectDirection(directionAt(camera, 0.0f, 480.0f), {-4.0f / 3.0f, -1.0f, -1.0f});
    expectDirection(directionAt(camera, 640.0f, 480.0f), {4.0f / 3.0f, -1.0f, -1.0f});
    expectDirection(directionAt(camera, 320.0f, 240.0f), {0.0f, 0.0f, -1.0f});
    EXPECT_NEAR(length(directionAt(camera, 17.0f, 399.0f)), 1.0f, 1e-6f);
}

TEST(Camera, PortraitAndSquareKeepNinetyDegreesOnTheShorterSide) {
    Camera portrait = makeProjectedCamera(480, 640);
    expectDirection(directionAt(portrait, 0.0f, 0.0f), {-1.0f, 4.0f / 3.0f, -1.0f});
    expectDirection(directionAt(portrait, 480.0f, 640.0f), {1.0f, -4.0f / 3.0f, -1.0f});

    Camera square = makeProjectedCamera(100, 100);
    expectDirection(directionAt(square, 0.0f, 100.0f), {-1.0f, -1.0f, -1.0f});
    expectDirection(directionAt(square, 50.0f, 50.0f), {0.0f, 0.0f, -1.0f});
}

TEST(Camera, ZeroSizeCountsAsOne) {
    Camera camera = makeProjectedCamera(0, 0);
    EXPECT_EQ(camera.width, 1u);
    EXPECT_EQ(camera.height, 1u);
    EXPECT_FALSE(camera.projection.singular);
    expectDirection(directionAt(camera, 0.5f, 0.5f), {0.0f, 0.0f, -1.0f});
}

TEST(Camera, SingularProjectionIsRefused) {
    Camera camera(4, 4);
    camera.projection = Transform(Mat4::identity());
    Ray ray;
    EXPECT_THROW(pixelRay(camera, 1.0f, 1.0f, ray), std::domain_error);
}

} // namespace
} // namespace verdanium
