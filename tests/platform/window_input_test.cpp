// Input turned into events: real X input from xdotool, and raw packets made here.

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/window.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include "app/program_flags.h"
#include "x_test_support.h"

#include <algorithm>
#include <memory>
#include <string>

namespace verdanium {
namespace {

using namespace testing;

class WindowInputTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!haveXDisplay())
            GTEST_SKIP() << "no X display";
        window = std::make_unique<Window>(programWindowSettings());
        focusOn(window->handle);
        ASSERT_TRUE(pumpUntil(*window, [&] { return window->focused; }));
        gEventQueue.clear();
        gQuitRequested = false;
    }

    void focusOn(unsigned long handle) {
        ASSERT_TRUE(xdotool("windowfocus --sync " + std::to_string(handle)));
    }

    std::vector<std::string> keyRecords() {
        std::vector<std::string> records;
        for (const Event& event : queuedEvents(EventKindKey))
            records.push_back(std::string(event.keyboard.name) + (event.keyboard.pressed ? " down" : " up"));
        return records;
    }

    // Hands the window one raw motion packet of the core pointer, whose
    // valuators are relative.
    void rawMotion(std::initializer_list<std::pair<int, double>> valuators) {
        unsigned char mask[1] = {};
        double values[8] = {};
        int count = 0;
        for (const auto& [number, value] : valuators) {
            XISetMask(mask, number);
            values[count++] = value;
        }
        XIRawEvent raw{};
        raw.evtype = XI_RawMotion;
        raw.sourceid = 2;
        raw.valuators = {1, mask, values};
        raw.raw_values = values;
        XEvent event{};
        int unused = 0;
        XQueryExtension(window->display, "XInputExtension", &event.xcookie.extension, &unused, &unused);
        event.xcookie.type = GenericEvent;
        event.xcookie.display = window->display;
        event.xcookie.evtype = XI_RawMotion;
        event.xcookie.data = &raw;
        EXPECT_TRUE(window->handleMessage(event));
    }

    void focusChange(int type) {
        XEvent event{};
        event.xfocus = {type, 0, False, window->display, window->handle, NotifyNormal, NotifyNonlinear};
        window->handleMessage(event);
        XSync(window->display, False);
    }

    XInputLock inputLock;
    std::unique_ptr<Window> window;
};

TEST_F(WindowInputTest, AHeldKeyGivesOnePressAndOneRelease) {
    // Held past the server's auto-repeat delay, the key repeats its press.
    ASSERT_TRUE(xdotool("keydown a sleep 1 keyup a"));
    ASSERT_TRUE(pumpUntil(*window, [] { return queuedEvents(EventKindKey).size() >= 2; }));
    pumpBriefly(*window);
    EXPECT_EQ(keyRecords(), (std::vector<std::string>{"A down", "A up"}));

    gEventQueue.clear();
    window->filterKeyRepeat = false;
    ASSERT_TRUE(xdotool("keydown a sleep 1 keyup a"));
    ASSERT_TRUE(pumpUntil(*window, [] { return queuedEvents(EventKindKey).size() >= 3; }));
    pumpBriefly(*window);
    const std::vector<std::string> records = keyRecords();
    EXPECT_EQ(records.front(), "A down");
    EXPECT_EQ(records[1], "A down");
    EXPECT_EQ(records.back(), "A up");
}

TEST_F(WindowInputTest, KeysOfTheLayoutGetTheirNames) {
    // KP_Begin is the keypad's middle key without NumLock; the name is the same.
    ASSERT_TRUE(xdotool("key Return KP_Enter Shift_L Shift_R Control_R Alt_L KP_Begin KP_Multiply F12 "
                        "Prior Escape space 1 minus"));
    const std::vector<std::string> names = {
        "return",   "numpad enter", "left shift", "right shift", "right control", "left alt", "numpad 5",
        "numpad *", "F12",          "page up",    "escape",      "space",         "1",        "-"};
    ASSERT_TRUE(pumpUntil(*window, [&] { return queuedEvents(EventKindKey).size() >= 2 * names.size(); }));
    pumpBriefly(*window);
    // xdotool holds a left modifier around a right one, so look for the names
    // in order among the presses rather than alone.
    std::vector<std::string> pressed;
    for (const Event& event : queuedEvents(EventKindKey))
        if (event.keyboard.pressed)
            pressed.push_back(event.keyboard.name);
    auto next = pressed.begin();
    for (const std::string& name : names) {
        next = std::find(next, pressed.end(), name);
        ASSERT_NE(next, pressed.end()) << "\"" << name << "\" missing or out of order";
    }
}

TEST_F(WindowInputTest, RawMouseMotionButtonsAndWheel) {
    ASSERT_TRUE(xdotool("mousemove_relative -- 5 -7"));
    ASSERT_TRUE(pumpUntil(*window, [] { return !queuedEvents(EventKindMouseMotion).empty(); }));
    const Event motion = queuedEvents(EventKindMouseMotion).front();
    EXPECT_EQ(motion.mouseMotion.dx, 5);
    EXPECT_EQ(motion.mouseMotion.dy, -7);

    gEventQueue.clear();
    ASSERT_TRUE(xdotool("click 3 click 2 click 4 click 5"));
    ASSERT_TRUE(pumpUntil(*window, [] { return queuedEvents(EventKindMouseWheel).size() >= 2; }));
    std::vector<std::pair<int, bool>> buttons;
    for (const Event& event : queuedEvents(EventKindMouseButton))
        buttons.emplace_back(event.mouseButton.button, event.mouseButton.pressed);
    // X's right button is the program's button 2, the middle one button 3.
    EXPECT_EQ(buttons, (std::vector<std::pair<int, bool>>{{2, true}, {2, false}, {3, true}, {3, false}}));
    const auto wheel = queuedEvents(EventKindMouseWheel);
    EXPECT_EQ(wheel[0].mouseWheel.amount, 120);
    EXPECT_EQ(wheel[1].mouseWheel.amount, -120);
}

TEST_F(WindowInputTest, LosingTheFocusIsReportedAndSilencesTheMouse) {
    Display* other = XOpenDisplay(nullptr);
    const ::Window rival = XCreateSimpleWindow(other, DefaultRootWindow(other), 0, 0, 10, 10, 0, 0, 0);
    XMapWindow(other, rival);
    XSync(other, False);
    focusOn(rival);

    ASSERT_TRUE(pumpUntil(*window, [&] { return !window->focused; }));
    const auto focus = queuedEvents(EventKindFocus);
    ASSERT_EQ(focus.size(), 1u);
    EXPECT_FALSE(focus[0].focus.gained);

    ASSERT_TRUE(xdotool("mousemove_relative -- 9 9 key b"));
    pumpBriefly(*window);
    EXPECT_TRUE(queuedEvents(EventKindMouseMotion).empty());
    EXPECT_TRUE(queuedEvents(EventKindKey).empty());

    XDestroyWindow(other, rival);
    XCloseDisplay(other);
}

TEST_F(WindowInputTest, ACloseRequestSetsTheQuitFlagAndKeepsTheWindow) {
    sendCloseRequest(window->handle);
    ASSERT_TRUE(pumpUntil(*window, [] { return gQuitRequested; }));
    EXPECT_TRUE(gEventQueue.empty());
    EXPECT_EQ(gWindows.at(window->handle), window.get());
    XWindowAttributes attributes{};
    EXPECT_NE(XGetWindowAttributes(window->display, window->handle, &attributes), 0);
    gQuitRequested = false;
}

TEST_F(WindowInputTest, RawPacketsGiveWholeCountsAndNothingForNoMotion) {
    rawMotion({{0, 0.0}, {1, 0.0}});
    rawMotion({{2, 3.0}}); // a scroll valuator only
    EXPECT_TRUE(gEventQueue.empty());

    rawMotion({{1, -4.0}});
    ASSERT_EQ(gEventQueue.size(), 1u);
    EXPECT_EQ(gEventQueue.back().kind, EventKindMouseMotion);
    EXPECT_EQ(gEventQueue.back().mouseMotion.dx, 0);
    EXPECT_EQ(gEventQueue.back().mouseMotion.dy, -4);

    // Fractions of a count add up rather than vanish.
    gEventQueue.clear();
    rawMotion({{0, 0.4}});
    rawMotion({{0, 0.4}});
    EXPECT_TRUE(gEventQueue.empty());
    rawMotion({{0, 0.4}});
    ASSERT_EQ(gEventQueue.size(), 1u);
    EXPECT_EQ(gEventQueue.back().mouseMotion.dx, 1);

    // Without the focus the packets are someone else's.
    gEventQueue.clear();
    focusChange(FocusOut);
    gEventQueue.clear();
    rawMotion({{0, 10.0}, {1, 10.0}});
    EXPECT_TRUE(gEventQueue.empty());
}

TEST_F(WindowInputTest, TheCursorIsConfinedOnlyWhileFocusedAndAsked) {
    Display* other = XOpenDisplay(nullptr);
    const auto otherCanGrab = [&] {
        const int result = XGrabPointer(other, DefaultRootWindow(other), False, 0, GrabModeAsync,
                                        GrabModeAsync, 0, 0, CurrentTime);
        XUngrabPointer(other, CurrentTime);
        XSync(other, False);
        return result == GrabSuccess;
    };
    EXPECT_TRUE(otherCanGrab()); // never asked for: not confined though focused
    window->clipCursor = true;
    focusChange(FocusIn);
    EXPECT_FALSE(otherCanGrab());
    focusChange(FocusOut);
    EXPECT_TRUE(otherCanGrab());

    XCloseDisplay(other);
}

} // namespace
} // namespace verdanium
