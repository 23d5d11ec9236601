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

#include <array>

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
    // The settings a user first sees: hybrid, two threads, depth 5, 3 bounces, direct light.
    EXPECT_EQ((std::array<std::uint64_t, 5>{tracer.renderMode, tracer.cpuThreads, tracer.maxDepth,
                                            tracer.secondaryBounceCount, tracer.bidirectional}),
              (std::array<std::uint64_t, 5>{3, 2, 5, 3, 1}));
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
