#include "app/app_test.h"
#include "app/key_commands.h"
#include "foundation/math/orthonormal_basis.h"
#include "foundation/math/transform.h"
#include "platform/event.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace verdanium {
namespace {

void expectNear(const Mat4& actual, const Mat4& expected, float tolerance = 1e-4f) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.m[k], expected.m[k], tolerance) << "element " << k;
}

// The camera's world-to-view transform at a given flight time: on its rail at
// height 30, 70 units behind the ship, turned half round.
Transform railCamera(float time) {
    return makeTranslation(Vec3{0, -30, time * 100.0f - 70.0f}) * makeRotation(Vec3{0, 1, 0}, 3.1415927f);
}

class SceneFlightTest : public testing::AppTest {
protected:
    void pressPause() {
        KeyboardEvent event{};
        std::snprintf(event.name, sizeof event.name, "%s", "pause");
        event.pressed = true;
        handleKeyboardEvent(event, scene, renderer);
    }
};

TEST_F(SceneFlightTest, StartsFlyingWithTheCameraBackFromTheOriginAndTwoConeLights) {
    EXPECT_EQ(scene.camera.forward, makeTranslation(Vec3{0, 0, -15}).forward);
    EXPECT_EQ(scene.camera.inverse, makeTranslation(Vec3{0, 0, -15}).inverse);
    EXPECT_FALSE(scene.camera.singular);
    EXPECT_EQ(scene.cameraVelocity, Vec3{});

    ASSERT_EQ(scene.lights.size(), 2u);
    const ConeLight& sun = scene.lights[0];
    EXPECT_EQ(sun.direction, (Vec3{-1, 0, 0}));
    EXPECT_EQ(sun.axis, sun.direction);
    EXPECT_EQ(sun.radiance, (Vec3{30, 30, 30}));
    EXPECT_NEAR(sun.solidAngle, 2.0 * M_PI * (1.0 - std::cos(0.31415927)), 1e-6);
    EXPECT_FLOAT_EQ(sun.pdf * sun.solidAngle, 1.0f);

    const ConeLight& blue = scene.lights[1];
    EXPECT_NEAR(blue.direction.x, std::sqrt(0.5f), 1e-6f);
    EXPECT_NEAR(blue.direction.y, -std::sqrt(0.5f), 1e-6f);
    EXPECT_EQ(blue.angle, 0.15707964f);
    EXPECT_EQ(blue.radiance, (Vec3{20, 20, 50}));
    // The tangents are those of the shared basis of the (normalised) axis.
    const TangentPair tangents = orthonormalBasis(blue.direction);
    EXPECT_EQ(blue.tangentU, tangents.u);
    EXPECT_EQ(blue.tangentV, tangents.v);
}

TEST_F(SceneFlightTest, FlyingStepPutsTheCameraOnItsRailAndRaisesChangeCount) {
    const auto before = scene.changeCount;
    scene.update(0.01);
    EXPECT_EQ(scene.time, 0.01f);
    EXPECT_EQ(scene.changeCount, before + 1);
    expectNear(scene.camera.forward, railCamera(0.01f).forward);
    expectNear(scene.camera.inverse, railCamera(0.01f).inverse);

    // Keys and mouse have no lasting effect while flying: the rail overwrites them,
    // though each still makes the picture stale.
    scene.cameraVelocity = {1, 0, -1};
    scene.rotateCamera(Vec3{0, 1, 0}, 0.5f);
    scene.update(0.01);
    EXPECT_EQ(scene.changeCount, before + 4);
    expectNear(scene.camera.forward, railCamera(scene.time).forward);
}

TEST_F(SceneFlightTest, PausesItselfAfterTwentySecondsOfFlight) {
    int steps = 0;
    while (!gPaused && steps < 3000) {
        scene.update(0.01);
        ++steps;
    }
    ASSERT_TRUE(gPaused);
    EXPECT_GT(scene.time, 20.0f);
    EXPECT_GE(steps, 2000);
    EXPECT_LE(steps, 2002);

    // Paused steps change nothing, however many run.
    const float pausedAt = scene.time;
    const Transform camera = scene.camera;
    const auto changes = scene.changeCount;
    for (int i = 0; i < 50; ++i)
        scene.update(0.01);
    EXPECT_EQ(scene.time, pausedAt);
    EXPECT_EQ(scene.camera.forward, camera.forward);
    EXPECT_EQ(scene.changeCount, changes);

    // Each "pause" press from now on runs exactly one more step of flight.
    for (int press = 1; press <= 3; ++press) {
        pressPause();
        ASSERT_FALSE(gPaused);
        for (int i = 0; i < 5; ++i)
            scene.update(0.01);
        EXPECT_TRUE(gPaused);
        EXPECT_FLOAT_EQ(scene.time, pausedAt + 0.01f * press);
        EXPECT_EQ(scene.changeCount, changes + press);
    }
}

TEST_F(SceneFlightTest, PausedStepsMoveTheCameraInItsOwnFrame) {
    gPaused = true;
    scene.rotateCamera(Vec3{0, 1, 0}, 1.5707964f); // a quarter turn, which the pause keeps
    const Transform turned = scene.camera;
    const auto changes = scene.changeCount;

    scene.cameraVelocity = {0, 0, -1}; // "W": forward, one unit per step
    scene.update(0.01);
    scene.update(0.01);
    EXPECT_EQ(scene.time, 0.0f);
    EXPECT_EQ(scene.changeCount, changes + 2);
    // Two units along the view's -z: the translation goes on the left.
    const Transform expected = makeTranslation(Vec3{0, 0, 2}) * turned;
    expectNear(scene.camera.forward, expected.forward, 1e-5f);
    expectNear(scene.camera.inverse, expected.inverse, 1e-5f);

    // No velocity, no change.
    scene.cameraVelocity = {};
    scene.update(0.01);
    EXPECT_EQ(scene.changeCount, changes + 2);
}

TEST_F(SceneFlightTest, RotateCameraComposesOnTheLeft) {
    const Transform before = scene.camera;
    scene.rotateCamera(Vec3{0, 0, 2}, 0.25f);
    expectNear(scene.camera.forward, (makeRotation(Vec3{0, 0, 1}, 0.25f) * before).forward, 1e-6f);
    EXPECT_EQ(scene.changeCount, 1u);
}

} // namespace
} // namespace verdanium
