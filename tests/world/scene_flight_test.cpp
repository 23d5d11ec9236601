#include "app/app_test.h"
#include "foundation/math/transform.h"
#include "world/scene.h"

#include <gtest/gtest.h>

namespace verdanium {
namespace {

void expectNear(const Mat4& actual, const Mat4& expected, float tolerance = 1e-4f) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.m[k], expected.m[k], tolerance) << "element " << k;
}

// The camera's world-to-view transform at a flight time: on its rail at height 30, 70 units behind the ship,
// turned half round.
Transform railCamera(float time) {
    return makeTranslation(Vec3{0, -30, time * 100.0f - 70.0f}) * makeRotation(Vec3{0, 1, 0}, 3.1415927f);
}

using SceneFlightTest = testing::AppTest;

TEST_F(SceneFlightTest, FlyingStepsPutTheCameraOnItsRailWhateverTheKeysSay) {
    EXPECT_EQ(scene.camera.forward, makeTranslation(Vec3{0, 0, -15}).forward);
    scene.update(0.01);
    EXPECT_EQ(scene.time, 0.01f);
    EXPECT_EQ(scene.changeCount, 1u);
    expectNear(scene.camera.forward, railCamera(0.01f).forward);
    expectNear(scene.camera.inverse, railCamera(0.01f).inverse);
    // Keys and mouse have no lasting effect while flying, though each still makes the picture stale.
    scene.cameraVelocity = {1, 0, -1};
    scene.rotateCamera(Vec3{0, 1, 0}, 0.5f);
    scene.update(0.01);
    EXPECT_EQ(scene.changeCount, 4u);
    expectNear(scene.camera.forward, railCamera(scene.time).forward);
}

TEST_F(SceneFlightTest, PausesItselfAfterTwentySecondsAndEachPauseKeyRunsOneStep) {
    int steps = 0;
    while (!gPaused && steps < 3000) {
        scene.update(0.01);
        ++steps;
    }
    ASSERT_TRUE(gPaused);
    EXPECT_GT(scene.time, 20.0f);
    EXPECT_LE(steps, 2002);
    // Paused steps change nothing; each press of the pause key lets exactly one more run.
    const float pausedAt = scene.time;
    const auto changes = scene.changeCount;
    for (int presses = 1; presses <= 3; ++presses) {
        press("pause");
        ASSERT_FALSE(gPaused);
        for (int i = 0; i < 5; ++i)
            scene.update(0.01);
        EXPECT_TRUE(gPaused);
        EXPECT_FLOAT_EQ(scene.time, pausedAt + 0.01f * presses);
        EXPECT_EQ(scene.changeCount, changes + presses);
    }
}

// The turn itself is the mouse's (the dispatch tests); here the velocity moves the turned view along its own
// -z.
TEST_F(SceneFlightTest, PausedStepsMoveTheCameraInItsOwnFrame) {
    gPaused = true;
    scene.camera = makeRotation(Vec3{0, 1, 0}, 1.5707964f) * scene.camera;
    const Transform turned = scene.camera;
    scene.cameraVelocity = {0, 0, -1}; // "W": forward, one unit per step
    scene.update(0.01);
    scene.update(0.01);
    EXPECT_EQ(scene.time, 0.0f);
    EXPECT_EQ(scene.changeCount, 2u);
    const Transform expected = makeTranslation(Vec3{0, 0, 2}) * turned; // the translation goes on the left
    expectNear(scene.camera.forward, expected.forward, 1e-5f);
    expectNear(scene.camera.inverse, expected.inverse, 1e-5f);
    scene.cameraVelocity = {};
    scene.update(0.01);
    EXPECT_EQ(scene.changeCount, 2u) << "no velocity, no change";
}

} // namespace
} // namespace verdanium
