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
    const auto make = [](EventKind kind, int a = 0, int b = 0) {
        Event event{};
        event.kind = kind;
        if (kind == EventKindMouseButton)
            event.mouseButton = {a, b != 0};
        if (kind == EventKindMousePosition)
            event.mousePosition = {a, b};
        if (kind == EventKindMouseWheel)
            event.mouseWheel = {a};
        if (kind == EventKindFocus)
            event.focus = {a != 0};
        return event;
    };
    const std::pair<Event, const char*> cases[] = {
        {make(EventKindMouseButton, 3, 1), "handling MouseButtonEvent 3 pressed\n"},
        {make(EventKindMouseButton, 5, 0), "handling MouseButtonEvent 5 released\n"},
        {make(EventKindMousePosition, -7, 12), "mouse position event: (-7,12)\n"},
        {make(EventKindMouseWheel, -120), "mouse wheel turned by -120\n"},
        {make(EventKindFocus, 1), "window got focus\n"},
        {make(EventKindFocus, 0), "window lost focus\n"},
        {make(EventKind(6)), ""}, // reserved
        {make(EventKind(9)), ""},
    };
    for (const auto& [event, line] : cases)
        EXPECT_EQ(dispatchCapturingStdout(event), line) << "kind " << event.kind;
    EXPECT_TRUE(renderer.calls.empty());
    EXPECT_EQ(scene.changeCount, 0u);
}

} // namespace
} // namespace verdanium
