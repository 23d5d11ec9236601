#include "support/gl_test_context.h"

#include "platform/offscreen_context.h"

#include <cstdio>
#include <exception>

namespace verdanium::testing {

// Never destroyed: Mesa takes its displays down at exit on its own. Held in a
// global that other units could read, so that the store is kept and the context
// stays reachable rather than leaked.
OffscreenContext* gTestContext = nullptr;

bool makeGlContextCurrent() {
    static const bool available = [] {
        try {
            // A small pbuffer gives the default framebuffer something to point
            // at; the tests draw into their own framebuffer objects.
            gTestContext = new OffscreenContext(64, 64);
            return true;
        } catch (const std::exception& error) {
            std::fprintf(stderr, "gl test context: %s\n", error.what());
            return false;
        }
    }();
    return available;
}

} // namespace verdanium::testing
