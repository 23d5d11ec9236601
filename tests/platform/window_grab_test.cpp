// Keys typed around another client's grab of the keyboard, through the X server.

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/window.h"

#include <X11/Xlib.h>

#include "app/program_window.h"
#include "platform/event.h"
#include "support/x_test_support.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace verdanium {
namespace {

using namespace testing;

TEST(WindowGrabTest, APressAfterAnotherClientsGrabIsSeenWhileAHeldKeyStaysFiltered) {
    if (!haveXDisplay())
        GTEST_SKIP() << "no X display";
    const XInputLock inputLock;
    Window window(programWindowSettings());
    Display* rival = XOpenDisplay(nullptr);
    ASSERT_NE(rival, nullptr);
    // Pumps until the last event is a key event, pressed or released as asked (false after two seconds).
    const auto pumpUntilKey = [&](bool pressed) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (gEventQueue.empty() || gEventQueue.back().kind != EventKindKey ||
               gEventQueue.back().keyboard.pressed != pressed) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            XSync(window.display, False);
            window.dispatchMessages();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    };
    const struct {
        const char* during; // typed while the rival holds the keyboard
        const char* after;  // typed after it lets go
        int presses;        // of X after the first
    } cases[] = {
        // Released where this window could not see it: the next press is a press, not a repeat.
        {"keyup x", "key x", 1},
        // Still held when the grab ends, past the server's auto-repeat delay: its presses are repeats.
        {"sleep 0", "sleep 1 keyup x", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.during);
        ASSERT_TRUE(xdotool("windowfocus --sync " + std::to_string(window.handle)));
        ASSERT_TRUE(xdotool("keydown x"));
        ASSERT_TRUE(pumpUntilKey(true));
        gEventQueue.clear();
        ASSERT_EQ(
            XGrabKeyboard(rival, DefaultRootWindow(rival), False, GrabModeAsync, GrabModeAsync, CurrentTime),
            GrabSuccess);
        XSync(rival, False);
        ASSERT_TRUE(xdotool(c.during));
        XUngrabKeyboard(rival, CurrentTime);
        XSync(rival, False);
        ASSERT_TRUE(xdotool(c.after));
        ASSERT_TRUE(pumpUntilKey(false));
        int presses = 0;
        for (const Event& event : gEventQueue)
            presses += event.kind == EventKindKey && event.keyboard.pressed &&
                       std::string(event.keyboard.name) == "X";
        EXPECT_EQ(presses, c.presses);
    }
    XCloseDisplay(rival);
}

} // namespace
} // namespace verdanium
