// The window and its context, made on a real X server (Xvfb under make test).

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/window.h"

#include <GL/glew.h>
#include <X11/Xlib.h>

#include "app/program_window.h"
#include "platform/event.h"
#include "support/x_test_support.h"

#include <stdexcept>

#include <unistd.h>

namespace verdanium {
namespace {

using namespace testing;

class WindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!haveXDisplay())
            GTEST_SKIP() << "no X display";
        gEventQueue.clear();
    }

    XInputLock inputLock;
};

// The fixed pipeline beside the shaders: a core profile would refuse every fixed-function call.
TEST_F(WindowTest, MakesACompatibilityContextOfAtLeast32) {
    Window window(programWindowSettings());
    GLint major = 0, minor = 0, profile = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_GE(major * 10 + minor, 32);
    EXPECT_TRUE(profile & GL_CONTEXT_COMPATIBILITY_PROFILE_BIT) << "profile mask " << profile;
}

TEST_F(WindowTest, QueuesTheFirstSizeAndThenTheFocusWhileBeingShown) {
    Window window(programWindowSettings());

    ASSERT_GE(gEventQueue.size(), 2u);
    const Event& size = gEventQueue[0];
    const Event& focus = gEventQueue[1];
    ASSERT_EQ(size.kind, EventKindResize);
    EXPECT_EQ(size.resize.width, 640u);
    EXPECT_EQ(size.resize.height, 480u);
    ASSERT_EQ(focus.kind, EventKindFocus);
    EXPECT_TRUE(focus.focus.gained);
    EXPECT_TRUE(window.focused);

    // A size change from outside, as a user's drag would make it, is stored and queued; a move is not.
    gEventQueue.clear();
    Display* observer = XOpenDisplay(nullptr); // a connection of the test's own
    XMoveWindow(observer, window.handle, 30, 40);
    XResizeWindow(observer, window.handle, 320, 200);
    XSync(observer, False);
    XCloseDisplay(observer);
    for (int attempt = 0; attempt < 200 && gEventQueue.empty(); ++attempt) {
        usleep(10000);
        window.dispatchMessages();
    }
    ASSERT_EQ(gEventQueue.size(), 1u);
    EXPECT_EQ(gEventQueue[0].kind, EventKindResize);
    EXPECT_TRUE(gEventQueue[0].resize.width == 320 && gEventQueue[0].resize.height == 200);
    EXPECT_TRUE(window.settings.width == 320 && window.settings.height == 200);
    gEventQueue.clear();
}

TEST_F(WindowTest, AFailureIsReportedByItsCauseAndLeavesNoEntryBehind) {
    // Refused by the first, plain choice of format, before anything was made;
    // by the second only, after the bootstrap window and context were made (the
    // plain choice knows nothing of multisampling); by the server.
    WindowSettings deepColour = programWindowSettings(), manySamples = deepColour, empty = deepColour;
    deepColour.redBits = 64;
    manySamples.samples = 1024;
    empty.width = 0;
    const std::pair<WindowSettings, const char*> failures[] = {
        {deepColour, "no suitable pixel format found through PFD"},
        {manySamples, "no suitable pixel format found through WGL"},
        {empty, "window creation failed"},
    };
    for (const auto& [settings, text] : failures) {
        try {
            Window window(settings);
            ADD_FAILURE() << "no exception; expected \"" << text << "\"";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), text);
        }
        EXPECT_TRUE(gWindows.empty());
    }
}

} // namespace
} // namespace verdanium
