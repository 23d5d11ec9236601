// The window and its context, made on a real X server (Xvfb under make test).

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "platform/window.h"

#include <GL/glew.h>
#include <GL/glx.h>

#include "app/stopwatch.h"
#include "x_test_support.h"

#include <cstring>
#include <stdexcept>

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

TEST_F(WindowTest, MakesACompatibilityContextOfAtLeast32WithTheRequestedBits) {
    Window window(programWindowSettings());

    ASSERT_NE(window.handle, 0u);
    EXPECT_EQ(gWindows.at(window.handle), &window);
    ASSERT_EQ(glXGetCurrentContext(), window.renderingContext);

    GLint major = 0, minor = 0, profile = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_GE(major * 10 + minor, 32);
    EXPECT_TRUE(profile & GL_CONTEXT_COMPATIBILITY_PROFILE_BIT) << "profile mask " << profile;
    // The fixed pipeline must be there beside the shaders.
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    // The recorded bits are what the framebuffer has, and at least what was asked.
    const auto bits = [](GLenum attachment, GLenum component) {
        GLint value = 0;
        glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, attachment, component, &value);
        return std::uint32_t(value);
    };
    EXPECT_EQ(window.settings.redBits, bits(GL_BACK_LEFT, GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE));
    EXPECT_EQ(window.settings.alphaBits, bits(GL_BACK_LEFT, GL_FRAMEBUFFER_ATTACHMENT_ALPHA_SIZE));
    EXPECT_EQ(window.settings.depthBits, bits(GL_DEPTH, GL_FRAMEBUFFER_ATTACHMENT_DEPTH_SIZE));
    EXPECT_EQ(window.settings.stencilBits, bits(GL_STENCIL, GL_FRAMEBUFFER_ATTACHMENT_STENCIL_SIZE));
    EXPECT_GE(window.settings.redBits, 8u);
    EXPECT_GE(window.settings.greenBits, 8u);
    EXPECT_GE(window.settings.blueBits, 8u);
    EXPECT_GE(window.settings.alphaBits, 8u);
    EXPECT_GE(window.settings.depthBits, 24u);
    EXPECT_GE(window.settings.stencilBits, 8u);

    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 640);
    EXPECT_EQ(viewport[3], 480);

    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    window.swapBuffers();
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

TEST_F(WindowTest, QueuesTheFirstSizeAndThenTheFocusWhileBeingShown) {
    Stopwatch stopwatch;
    stopwatch.start();
    gStopwatch = &stopwatch;
    Window window(programWindowSettings());
    gStopwatch = nullptr;

    ASSERT_GE(gEventQueue.size(), 2u);
    const Event& size = gEventQueue[0];
    ASSERT_EQ(size.kind, EventKindResize);
    EXPECT_EQ(size.resize.width, 640u);
    EXPECT_EQ(size.resize.height, 480u);
    const Event& focus = gEventQueue[1];
    ASSERT_EQ(focus.kind, EventKindFocus);
    EXPECT_TRUE(focus.focus.gained);
    EXPECT_TRUE(window.focused);
    EXPECT_GT(size.time, 0.0);
    EXPECT_LE(size.time, focus.time);
    EXPECT_LE(focus.time, stopwatch.elapsed());
}

TEST_F(WindowTest, DestructionRemovesTheWindowAndItsEntry) {
    const int before = topLevelWindowCount();
    unsigned long handle = 0;
    {
        Window window(programWindowSettings());
        handle = window.handle;
        EXPECT_EQ(topLevelWindowCount(), before + 1);
    }
    EXPECT_EQ(gWindows.count(handle), 0u);
    EXPECT_EQ(glXGetCurrentContext(), nullptr);
    EXPECT_EQ(topLevelWindowCount(), before);
}

// Each failure leaves nothing behind: no window, no current context, no entry.
void expectConstructionFails(const WindowSettings& settings, const char* text) {
    const int before = topLevelWindowCount();
    try {
        Window window(settings);
        ADD_FAILURE() << "no exception; expected \"" << text << "\"";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), text);
    }
    EXPECT_TRUE(gWindows.empty());
    EXPECT_EQ(glXGetCurrentContext(), nullptr);
    EXPECT_EQ(topLevelWindowCount(), before);
}

TEST_F(WindowTest, AFailureLeavesNoWindowContextOrEntryBehind) {
    // Refused by the first, plain choice of format: nothing was made yet.
    WindowSettings deepColour = programWindowSettings();
    deepColour.redBits = 64;
    expectConstructionFails(deepColour, "no suitable pixel format found through PFD");

    // Refused only by the second choice, after the bootstrap window and context
    // were made (the plain choice knows nothing of multisampling).
    WindowSettings manySamples = programWindowSettings();
    manySamples.samples = 1024;
    expectConstructionFails(manySamples, "no suitable pixel format found through WGL");

    WindowSettings empty = programWindowSettings();
    empty.width = 0;
    expectConstructionFails(empty, "window creation failed");
}

TEST_F(WindowTest, TheTitleReachesTheWindowManagerInUtf8) {
    Window window(programWindowSettings());
    window.setTitle("[41 ms] Renderer \xc2\xb5");

    Display* display = XOpenDisplay(nullptr);
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char* value = nullptr;
    XGetWindowProperty(display, window.handle, XInternAtom(display, "_NET_WM_NAME", False), 0, 256, False,
                       XInternAtom(display, "UTF8_STRING", False), &type, &format, &count, &remaining,
                       &value);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(value), count), "[41 ms] Renderer \xc2\xb5");
    XFree(value);
    char* name = nullptr;
    XFetchName(display, window.handle, &name);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(std::strncmp(name, "[41 ms] Renderer", 16), 0);
    XFree(name);
    XCloseDisplay(display);
}

} // namespace
} // namespace verdanium
