// Input turned into events: real X input from xdotool, and raw packets made here.

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/window.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include "app/program_flags.h"
#include "app/program_window.h"
#include "platform/event.h"
#include "support/x_test_support.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace verdanium {
namespace {

using namespace testing;

// The events of one kind now in gEventQueue, oldest first.
std::vector<Event> queued(EventKind kind) {
    std::vector<Event> events;
    std::copy_if(gEventQueue.begin(), gEventQueue.end(), std::back_inserter(events),
                 [kind](const Event& event) { return event.kind == kind; });
    return events;
}

class WindowInputTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!haveXDisplay())
            GTEST_SKIP() << "no X display";
        window = std::make_unique<Window>(programWindowSettings());
        ASSERT_TRUE(xdotool("windowfocus --sync " + std::to_string(window->handle)));
        ASSERT_TRUE(pumpUntil([&] { return window->focused; }));
        gEventQueue.clear();
        gQuitRequested = false;
    }

    // Pumps the window's messages until `done` holds (false after two seconds),
    // or, without `done`, for a while in which nothing more is expected.
    bool pumpUntil(const std::function<bool()>& done = nullptr) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(done ? 2000 : 100);
        while (!done || !done()) {
            if (std::chrono::steady_clock::now() > deadline)
                return !done;
            XSync(window->display, False);
            window->dispatchMessages();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    std::vector<std::string> pressedNames() {
        std::vector<std::string> names;
        for (const Event& event : queued(EventKindKey))
            if (event.keyboard.pressed)
                names.push_back(event.keyboard.name);
        return names;
    }

    // Hands the window one raw motion packet of the core pointer, as a device of finer than whole counts
    // sends it.
    void rawMotion(double dx, double dy) {
        unsigned char mask[1] = {};
        XISetMask(mask, 0);
        XISetMask(mask, 1);
        double values[2] = {dx, dy};
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

    XInputLock inputLock;
    std::unique_ptr<Window> window;
};

TEST_F(WindowInputTest, AHeldKeyGivesOnePressAndOneReleaseUnlessRepeatsAreWanted) {
    for (const bool filter : {true, false}) {
        // Held past the server's auto-repeat delay, the key repeats its press.
        gEventQueue.clear();
        window->filterKeyRepeat = filter;
        ASSERT_TRUE(xdotool("keydown a sleep 1 keyup a"));
        ASSERT_TRUE(pumpUntil([] {
            const std::vector<Event> keys = queued(EventKindKey);
            return !keys.empty() && !keys.back().keyboard.pressed;
        }));
        const std::vector<Event> keys = queued(EventKindKey);
        EXPECT_EQ(filter, keys.size() == 2) << keys.size() << " events";
        EXPECT_EQ(pressedNames().front(), "A");
    }
}

TEST_F(WindowInputTest, KeysOfTheLayoutGetTheirNames) {
    // KP_Begin is the keypad's middle key without NumLock; the name is the same.
    ASSERT_TRUE(xdotool("key Return KP_Enter Shift_R Control_R Alt_L KP_Begin F12 Prior 1 minus"));
    const std::vector<std::string> names = {"return",      "numpad enter",
                                            "right shift", "right control",
                                            "left alt",    "numpad 5",
                                            "F12",         "page up",
                                            "1",           "-"};
    ASSERT_TRUE(pumpUntil([&] { return queued(EventKindKey).size() >= 2 * names.size(); }));
    pumpUntil();
    // xdotool holds a left modifier around a right one, so look for the names
    // in order among the presses rather than alone.
    const std::vector<std::string> pressed = pressedNames();
    auto next = pressed.begin();
    for (const std::string& name : names) {
        next = std::find(next, pressed.end(), name);
        ASSERT_NE(next, pressed.end()) << "\"" << name << "\" missing or out of order";
    }
}

TEST_F(WindowInputTest, RawMouseMotionButtonsAndWheel) {
    ASSERT_TRUE(xdotool("mousemove_relative -- 5 -7"));
    ASSERT_TRUE(pumpUntil([] { return !queued(EventKindMouseMotion).empty(); }));
    EXPECT_EQ(queued(EventKindMouseMotion)[0].mouseMotion.dx, 5);
    EXPECT_EQ(queued(EventKindMouseMotion)[0].mouseMotion.dy, -7);

    gEventQueue.clear();
    ASSERT_TRUE(xdotool("click 3 click 2 click 4 click 5"));
    ASSERT_TRUE(pumpUntil([] { return queued(EventKindMouseWheel).size() >= 2; }));
    std::vector<std::pair<int, bool>> buttons;
    for (const Event& event : queued(EventKindMouseButton))
        buttons.emplace_back(event.mouseButton.button, event.mouseButton.pressed);
    // X's right button is the program's button 2, the middle one button 3.
    EXPECT_EQ(buttons, (std::vector<std::pair<int, bool>>{{2, true}, {2, false}, {3, true}, {3, false}}));
    EXPECT_EQ(queued(EventKindMouseWheel)[0].mouseWheel.amount, 120);
    EXPECT_EQ(queued(EventKindMouseWheel)[1].mouseWheel.amount, -120);
}

TEST_F(WindowInputTest, FractionsOfACountAddUpAndNoMotionGivesNoEvent) {
    rawMotion(0.0, 0.0);
    rawMotion(0.4, 0.0);
    rawMotion(0.4, 0.0);
    EXPECT_TRUE(gEventQueue.empty());
    rawMotion(0.4, -4.0);
    ASSERT_EQ(gEventQueue.size(), 1u);
    EXPECT_TRUE(gEventQueue[0].mouseMotion.dx == 1 && gEventQueue[0].mouseMotion.dy == -4);
}

TEST_F(WindowInputTest, LosingTheFocusIsReportedAndSilencesMouseAndKeys) {
    Display* other = XOpenDisplay(nullptr);
    const ::Window rival = XCreateSimpleWindow(other, DefaultRootWindow(other), 0, 0, 10, 10, 0, 0, 0);
    XMapWindow(other, rival);
    XSync(other, False);
    ASSERT_TRUE(xdotool("windowfocus --sync " + std::to_string(rival)));

    ASSERT_TRUE(pumpUntil([&] { return !window->focused; }));
    ASSERT_EQ(queued(EventKindFocus).size(), 1u);
    EXPECT_FALSE(queued(EventKindFocus)[0].focus.gained);
    ASSERT_TRUE(xdotool("mousemove_relative -- 9 9 key b"));
    pumpUntil();
    EXPECT_EQ(gEventQueue.size(), 1u);
    XCloseDisplay(other);
}

} // namespace
} // namespace verdanium
