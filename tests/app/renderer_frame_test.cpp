// The renderer's frame on the program's real window (Xvfb under make test).

// GoogleTest first: Xlib defines None, which GoogleTest uses as a name.
#include <gtest/gtest.h>

#include "app/program_flags.h"
#include "app/program_window.h"
#include "platform/event.h"
#include "platform/window.h"
#include "support/x_test_support.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <GL/glew.h>

namespace verdanium {
namespace {

TEST(RendererFrame, StartsWithTheDefaultsAndAFramePumpsTheMessagesAndClearsDirty) {
    if (!testing::haveXDisplay())
        GTEST_SKIP() << "no X display";
    const testing::XInputLock lock; // the window takes the focus of the shared display
    Window window(programWindowSettings());
    RecursivePathTracer tracer(window, programWindowSettings());
    Renderer& renderer = tracer;
    Scene scene{kEmptyScene};
    EXPECT_EQ(tracer.window, &window);
    EXPECT_EQ(tracer.renderMode, 3u);
    EXPECT_EQ(tracer.cpuThreads, 2u);
    EXPECT_EQ(tracer.maxDepth, 5u);
    EXPECT_EQ(tracer.secondaryBounceCount, 3u);
    EXPECT_EQ(tracer.bidirectional, 1u);
    EXPECT_EQ(tracer.width * tracer.height, 640u * 480u);
    EXPECT_TRUE(tracer.dirty);

    // The frame pumps the window's messages after the swap: a close request
    // waiting in the connection is seen by the end of it.
    gQuitRequested = false;
    testing::sendCloseRequest(window.display, window.handle);
    renderer.render(scene);
    EXPECT_TRUE(gQuitRequested);
    gQuitRequested = false;
    gEventQueue.clear();
    EXPECT_FALSE(tracer.dirty);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

} // namespace
} // namespace verdanium
