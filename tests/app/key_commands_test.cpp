#include "app/key_commands.h"
#include "app/program_state.h"
#include "app/recording_renderer.h"
#include "geometry/intersector_mode.h"
#include "platform/event.h"
#include "support/gl_test_context.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace verdanium {
namespace {

using testing::RecordingRenderer;

class KeyCommandsTest : public testing::ProgramStateTest {
protected:
    void key(const char* name, bool pressed) {
        KeyboardEvent event{};
        std::snprintf(event.name, sizeof event.name, "%s", name);
        event.pressed = pressed;
        handleKeyboardEvent(event, scene, renderer);
    }
    void press(const char* name) { key(name, true); }
    void release(const char* name) { key(name, false); }
    // Presses and releases each key in turn.
    void type(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            press(name);
            release(name);
        }
    }

    Scene scene{kEmptyScene};
    RecordingRenderer renderer;
};

using Calls = std::vector<std::string>;

TEST_F(KeyCommandsTest, LogsEveryKeyWithItsEdge) {
    ::testing::internal::CaptureStdout();
    press("numpad 7");
    release("left shift");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "handling KeyboardEvent numpad 7 pressed\nhandling KeyboardEvent left shift released\n");
}

TEST_F(KeyCommandsTest, SelectionLettersChooseTheSettingOnPressOnly) {
    const char* letters[] = {"R", "O", "T", "L", "C", "I", "N", "M", "B"};
    for (int index = 8; index >= 0; --index) {
        press(letters[index]);
        EXPECT_EQ(gCurrentSetting, index) << letters[index];
    }
    release("M");
    EXPECT_EQ(gCurrentSetting, 0);
    // Whole, case-sensitive names: a lower-case letter or a longer name is no command.
    press("m");
    press("MaxDepth");
    EXPECT_EQ(gCurrentSetting, 0);
    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(KeyCommandsTest, ReleasesDoNothingButMovement) {
    release("pause");
    EXPECT_FALSE(gPaused);
    release("C");
    EXPECT_EQ(gCurrentSetting, 0);
    release("2");
    press("N");
    release("5");
    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(KeyCommandsTest, RendererTakesOnlyDigitsZeroToThree) {
    type({"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "numpad 1"});
    EXPECT_EQ(renderer.calls,
              (Calls{"setRenderMode 0", "setRenderMode 1", "setRenderMode 2", "setRenderMode 3"}));
    // The same mode again is still passed on: it restarts the picture.
    press("3");
    EXPECT_EQ(renderer.calls.back(), "setRenderMode 3");
}

TEST_F(KeyCommandsTest, DigitsReachTheRendererSetterOfTheCurrentSetting) {
    type({"C", "0", "M", "9", "B", "0", "C", "4"});
    EXPECT_EQ(renderer.calls,
              (Calls{"setCpuThreads 0", "setMaxDepth 9", "setBidirectional 0", "setCpuThreads 4"}));
}

TEST_F(KeyCommandsTest, SecondaryBounceCountRaisesZeroToOne) {
    type({"N", "0", "1", "7"});
    EXPECT_EQ(renderer.calls,
              (Calls{"setSecondaryBounceCount 1", "setSecondaryBounceCount 1", "setSecondaryBounceCount 7"}));
}

TEST_F(KeyCommandsTest, IntersectorIsOneForEveryNonZeroDigit) {
    const std::int32_t saved = gIntersectorMode;
    press("I");
    const char* digits[] = {"1", "2", "3", "4", "5", "6", "7", "8", "9"};
    for (const char* digit : digits) {
        type({"0"});
        EXPECT_EQ(gIntersectorMode, 0);
        type({digit});
        EXPECT_EQ(gIntersectorMode, 1) << digit;
    }
    type({"0", "numpad 5"});
    EXPECT_EQ(gIntersectorMode, 0);
    EXPECT_TRUE(renderer.calls.empty());
    gIntersectorMode = saved;
}

TEST_F(KeyCommandsTest, KeypadDigitsDoNotRebuildTheScene) {
    ::testing::internal::CaptureStdout();
    type({"O", "numpad 0", "T", "numpad 1", "L", "numpad 2"});
    const std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(output.find("recreating"), std::string::npos) << output;
    EXPECT_EQ(scene.changeCount, 0u);
    EXPECT_EQ(scene.objectCountExponent, 3u);
    EXPECT_EQ(scene.tesselationExponent, 0u);
    EXPECT_EQ(scene.leafSize, 1u);
}

// The scene settings rebuild the scene from the data tree, so these need GL and
// the generated models.
TEST_F(KeyCommandsTest, SceneDigitsRebuildWithOneValueReplaced) {
    VERDANIUM_REQUIRE_GL();
    if (::access("../../../data/models/ship/serenity/Hull.obj", R_OK) != 0)
        GTEST_SKIP() << "the models have not been generated";

    ::testing::internal::CaptureStdout();
    type({"O", "0"});
    std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(
        output.find(
            "recreating scene with 4 objects of radius 2 with 4 triangles each (16 triangles in total)\n"),
        std::string::npos)
        << output;
    EXPECT_EQ(scene.objectCountExponent, 0u);
    const std::size_t entityCount = scene.entities.size();
    EXPECT_GT(entityCount, 4u); // the asteroids and the ship's parts

    ::testing::internal::CaptureStdout();
    type({"T", "1", "L", "7"});
    output = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("with 16 triangles each (64 triangles in total)\n"), std::string::npos) << output;
    EXPECT_EQ(scene.objectCountExponent, 0u);
    EXPECT_EQ(scene.tesselationExponent, 1u);
    EXPECT_EQ(scene.leafSize, 7u);
    EXPECT_EQ(scene.entities.size(), entityCount);
    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(KeyCommandsTest, KeypadDigitsAndOtherNamesAreNoValues) {
    type({"C", "numpad 3", "numpad enter", "F1", "space", "-", "pause"});
    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(KeyCommandsTest, PauseTogglesWhicheverSettingIsCurrent) {
    for (const char* setting : {"R", "O", "N", "B"}) {
        type({setting, "pause"});
        EXPECT_TRUE(gPaused) << setting;
        type({"pause"});
        EXPECT_FALSE(gPaused) << setting;
    }
    EXPECT_EQ(gCurrentSetting, 8);
}

TEST_F(KeyCommandsTest, MovementKeysWriteTheirComponentOnBothEdges) {
    const auto before = scene.changeCount;
    press("W");
    EXPECT_EQ(scene.cameraVelocity, (Vec3{0, 0, -1}));
    // "S" overrides "W" while held, and its release leaves z at 0 though "W" is down.
    press("S");
    EXPECT_EQ(scene.cameraVelocity, (Vec3{0, 0, 1}));
    release("S");
    EXPECT_EQ(scene.cameraVelocity, (Vec3{0, 0, 0}));
    press("A");
    press("D");
    EXPECT_EQ(scene.cameraVelocity, (Vec3{1, 0, 0}));
    release("A");
    EXPECT_EQ(scene.cameraVelocity, (Vec3{0, 0, 0}));
    EXPECT_EQ(scene.changeCount, before + 6);
    // Movement keys are no setting and no value.
    EXPECT_EQ(gCurrentSetting, 0);
    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(KeyCommandsTest, MovementKeysWorkWhilePausedAndInAnySetting) {
    type({"pause", "C"});
    const auto before = scene.changeCount;
    press("D");
    EXPECT_EQ(scene.cameraVelocity.x, 1.0f);
    EXPECT_EQ(scene.changeCount, before + 1);
    EXPECT_TRUE(renderer.calls.empty());
}

} // namespace
} // namespace verdanium
