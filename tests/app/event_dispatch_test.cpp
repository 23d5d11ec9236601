#include "app/event_dispatch.h"
#include "app/program_state.h"
#include "app/recording_renderer.h"
#include "foundation/math/transform.h"
#include "platform/event.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace verdanium {
namespace {

using testing::RecordingRenderer;

class EventDispatchTest : public testing::ProgramStateTest {
protected:
    std::string dispatchCapturingStdout(const Event& event) {
        ::testing::internal::CaptureStdout();
        dispatchEvent(event, scene, renderer);
        return ::testing::internal::GetCapturedStdout();
    }

    Scene scene{kEmptyScene};
    RecordingRenderer renderer;
};

void expectNear(const Mat4& actual, const Mat4& expected) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.m[k], expected.m[k], 1e-6f) << "element " << k;
}

TEST_F(EventDispatchTest, MotionOfThreeFourTurnsFiveHundredthsAboutFourThree) {
    scene.camera = makeTranslation(Vec3{1, 2, 3});
    const Transform before = scene.camera;
    const auto changes = scene.changeCount;

    Event motion{};
    motion.kind = EventKindMouseMotion;
    motion.mouseMotion = {3, 4};
    EXPECT_EQ(dispatchCapturingStdout(motion), "");

    // The turn goes on the left of the camera: about the view's own axes.
    const Transform expected = makeRotation(Vec3{4, 3, 0}, 0.05f) * before;
    expectNear(scene.camera.forward, expected.forward);
    expectNear(scene.camera.inverse, expected.inverse);
    EXPECT_EQ(scene.changeCount, changes + 1);
}

TEST_F(EventDispatchTest, HorizontalMotionTurnsAboutTheViewsYAxis) {
    MouseMotionEvent motion{-10, 0};
    handleMouseMotion(motion, scene);
    const Transform expected = makeRotation(Vec3{0, -1, 0}, 0.1f) * makeTranslation(Vec3{0, 0, -15});
    expectNear(scene.camera.forward, expected.forward);
}

TEST_F(EventDispatchTest, ZeroMotionIsAMathFailure) {
    // The window never queues it; if it did, the program would end with this text.
    try {
        handleMouseMotion(MouseMotionEvent{0, 0}, scene);
        FAIL() << "no exception";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "element not invertible");
    }
}

TEST_F(EventDispatchTest, LogLinesOfButtonsPositionsWheelAndFocus) {
    Event event{};
    event.kind = EventKindMouseButton;
    event.mouseButton = {3, true};
    EXPECT_EQ(dispatchCapturingStdout(event), "handling MouseButtonEvent 3 pressed\n");
    event.mouseButton = {5, false};
    EXPECT_EQ(dispatchCapturingStdout(event), "handling MouseButtonEvent 5 released\n");

    event.kind = EventKindMousePosition;
    event.mousePosition = {-7, 12};
    EXPECT_EQ(dispatchCapturingStdout(event), "mouse position event: (-7,12)\n");

    event.kind = EventKindMouseWheel;
    event.mouseWheel = {-120};
    EXPECT_EQ(dispatchCapturingStdout(event), "mouse wheel turned by -120\n");

    event.kind = EventKindFocus;
    event.focus = {true};
    EXPECT_EQ(dispatchCapturingStdout(event), "window got focus\n");
    event.focus = {false};
    EXPECT_EQ(dispatchCapturingStdout(event), "window lost focus\n");

    EXPECT_TRUE(renderer.calls.empty());
}

TEST_F(EventDispatchTest, KeysGoToTheCommandsAndSizesToTheRenderer) {
    Event event{};
    event.kind = EventKindKey;
    std::snprintf(event.keyboard.name, sizeof event.keyboard.name, "%s", "T");
    event.keyboard.pressed = true;
    EXPECT_EQ(dispatchCapturingStdout(event), "handling KeyboardEvent T pressed\n");
    EXPECT_EQ(gCurrentSetting, 2);

    event.kind = EventKindResize;
    event.resize = {320, 200};
    EXPECT_EQ(dispatchCapturingStdout(event), "");
    EXPECT_EQ(renderer.calls, std::vector<std::string>{"resize 320 200"});
}

TEST_F(EventDispatchTest, ReservedAndUnknownKindsAreDroppedSilently) {
    const Transform before = scene.camera;
    for (int kind : {0, 6, 9, -1}) {
        Event event{};
        event.kind = static_cast<EventKind>(kind);
        EXPECT_EQ(dispatchCapturingStdout(event), "");
    }
    EXPECT_TRUE(renderer.calls.empty());
    EXPECT_EQ(scene.camera.forward, before.forward);
}

} // namespace
} // namespace verdanium
