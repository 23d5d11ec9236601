#pragma once

namespace verdanium::testing {

// Makes an off-screen OpenGL 3.2 compatibility context current on the calling
// thread (Mesa's surfaceless EGL platform, so no X display is needed) and loads
// the entry points with GLEW. The context lives until the process ends; later
// calls only return the first call's answer.
//
// Returns false, with the reason on standard error, when no context can be had;
// GL tests then GTEST_SKIP() rather than fail on a machine without Mesa.
bool makeGlContextCurrent();

} // namespace verdanium::testing

// Skips the current test when no GL context is available.
#define VERDANIUM_REQUIRE_GL()                                                                               \
    do {                                                                                                     \
        if (!::verdanium::testing::makeGlContextCurrent())                                                   \
            GTEST_SKIP() << "no OpenGL context available";                                                   \
    } while (false)
