#include "app/event_dispatch.h"

#include "app/app_test.h"
#include "foundation/math/transform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace verdanium {
namespace {

class EventDispatchTest : public testing::AppTest {
protected:
    std::string dispatchCapturingStdout(const Event& event) {
        ::testing::internal::CaptureStdout();
        dispatchEvent(event, scene, renderer);
        return ::testing::internal::GetCapturedStdout();
    }
};

TEST_F(EventDispatchTest, MotionOfThreeFourTurnsFiveHundredthsAboutFourThree) {
    scene.camera = makeTranslation(Vec3{1, 2, 3});
    const Transform before = scene.camera;
    Event motion{};
    motion.kind = EventKindMouseMotion;
    motion.mouseMotion = {3, 4};
    EXPECT_EQ(dispatchCapturingStdout(motion), "");

    // The turn goes on the left of the camera: about the view's own axes.
    const Transform expected = makeRotation(Vec3{4, 3, 0}, 0.05f) * before;
    for (int k = 0; k < 16; ++k) {
        EXPECT_NEAR(scene.camera.forward.m[k], expected.forward.m[k], 1e-6f) << k;
        EXPECT_NEAR(scene.camera.inverse.m[k], expected.inverse.m[k], 1e-6f) << k;
    }
    EXPECT_EQ(scene.changeCount, 1u);
}

TEST_F(EventDispatchTest, ButtonsPositionsWheelAndFocusAreLoggedAndUnknownKindsDropped) {
    const auto make = [](EventKind kind, auto fill) {
        Event event{};
        event.kind = kind;
        fill(event);
        return event;
    };
    const std::pair<Event, const char*> cases[] = {
        {make(EventKindMouseButton,
              [](Event& e) {
                  e.mouseButton = {3, true};
              }),
         "handling MouseButtonEvent 3 pressed\n"},
        {make(EventKindMouseButton,
              [](Event& e) {
                  e.mouseButton = {5, false};
              }),
         "handling MouseButtonEvent 5 released\n"},
        {make(EventKindMousePosition,
              [](Event& e) {
                  e.mousePosition = {-7, 12};
              }),
         "mouse position event: (-7,12)\n"},
        {make(EventKindMouseWheel, [](Event& e) { e.mouseWheel = {-120}; }), "mouse wheel turned by -120\n"},
        {make(EventKindFocus, [](Event& e) { e.focus = {true}; }), "window got focus\n"},
        {make(EventKindFocus, [](Event& e) { e.focus = {false}; }), "window lost focus\n"},
        {make(EventKind(6), [](Event&) {}), ""}, // reserved
        {make(EventKind(9), [](Event&) {}), ""},
    };
    for (const auto& [event, line] : cases)
        EXPECT_EQ(dispatchCapturingStdout(event), line) << "kind " << event.kind;
    EXPECT_TRUE(renderer.calls.empty());
    EXPECT_EQ(scene.changeCount, 0u);
}

TEST_F(EventDispatchTest, KeysGoToTheCommandsAndSizesToTheRenderer) {
    EXPECT_EQ(dispatchCapturingStdout(testing::keyEvent("T", true)), "handling KeyboardEvent T pressed\n");
    EXPECT_EQ(gCurrentSetting, 2);
    Event resize{};
    resize.kind = EventKindResize;
    resize.resize = {320, 200};
    EXPECT_EQ(dispatchCapturingStdout(resize), "");
    EXPECT_EQ(renderer.calls, std::vector<std::string>{"resize 320 200"});
}

} // namespace
} // namespace verdanium
