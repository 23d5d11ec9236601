#include "app/app_test.h"
#include "geometry/intersector_mode.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace verdanium {
namespace {

using Calls = std::vector<std::string>;

class KeyCommandsTest : public testing::AppTest {
protected:
    // Presses and releases each key in turn.
    void type(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            press(name);
            release(name);
        }
    }
};

TEST_F(KeyCommandsTest, SelectionLettersWorkOnPressOnlyAndByTheirWholeName) {
    ::testing::internal::CaptureStdout();
    const char* letters[] = {"R", "O", "T", "L", "C", "I", "N", "M", "B"};
    for (int index = 8; index >= 0; --index) {
        press(letters[index]);
        EXPECT_EQ(gCurrentSetting, index) << letters[index];
    }
    release("M");
    press("m");
    press("MaxDepth");
    EXPECT_EQ(gCurrentSetting, 0);
    const std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_TRUE(output.starts_with("handling KeyboardEvent B pressed\n")) << output;
    EXPECT_NE(output.find("handling KeyboardEvent M released\n"), std::string::npos) << output;
}

TEST_F(KeyCommandsTest, DigitsGoToTheCurrentSetting) {
    // "Renderer" takes "0" to "3" only, and passes a repeat on (it restarts the picture).
    type({"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "3"});
    // "SecondaryBounceCount" raises 0 to 1; keypad digits and other names are no values.
    type({"C", "0", "M", "9", "B", "0", "N", "0", "7", "numpad 3", "numpad enter", "F1", "-", "pause",
          "pause"});
    // Nor do keypad digits rebuild the scene. (Releases are tested along the way: each would repeat a call.)
    type({"O", "numpad 0", "T", "numpad 1", "L", "numpad 2"});
    EXPECT_EQ(scene.changeCount, 0u);
    EXPECT_EQ(scene.objectCountExponent, 3u);
    EXPECT_EQ(renderer.calls,
              (Calls{"setRenderMode 0", "setRenderMode 1", "setRenderMode 2", "setRenderMode 3",
                     "setRenderMode 3", "setCpuThreads 0", "setMaxDepth 9", "setBidirectional 0",
                     "setSecondaryBounceCount 1", "setSecondaryBounceCount 7"}));
}

TEST_F(KeyCommandsTest, IntersectorIsOneForEveryNonZeroDigit) {
    const std::int32_t saved = gIntersectorMode;
    press("I");
    for (const char* digit : {"1", "5", "9"}) {
        type({"0"});
        EXPECT_EQ(gIntersectorMode, 0);
        type({digit});
        EXPECT_EQ(gIntersectorMode, 1) << digit;
    }
    type({"0", "numpad 5"});
    EXPECT_EQ(gIntersectorMode, 0);
    gIntersectorMode = saved;
}

TEST_F(KeyCommandsTest, PauseTogglesWhicheverSettingIsCurrent) {
    for (const char* setting : {"R", "O", "N", "B"}) {
        type({setting, "pause"});
        EXPECT_TRUE(gPaused) << setting;
        type({"pause"});
        EXPECT_FALSE(gPaused) << setting;
    }
}

TEST_F(KeyCommandsTest, MovementKeysWriteTheirComponentOnBothEdges) {
    type({"pause", "C"}); // paused and with any setting current alike
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
    EXPECT_EQ(scene.changeCount, 6u);
    EXPECT_EQ(gCurrentSetting, 4);
    EXPECT_TRUE(renderer.calls.empty());
}

} // namespace
} // namespace verdanium
