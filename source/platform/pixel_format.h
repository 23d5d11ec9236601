#pragma once

#include <GL/glx.h>

#include <utility>

namespace verdanium {

// A way to draw into a window: the X visual a window is created with and, for the
// final window, the framebuffer configuration its context is created for. X fixes
// a window's visual when the window is made, so the format is chosen first and
// handed to the window's creation.
struct PixelFormat {
    XVisualInfo* visual = nullptr; // owned, released with XFree
    GLXFBConfig config = nullptr;  // null for the bootstrap format; owned by the connection

    PixelFormat() = default;
    PixelFormat(PixelFormat&& other) noexcept
        : visual(std::exchange(other.visual, nullptr)), config(std::exchange(other.config, nullptr)) {}
    PixelFormat& operator=(PixelFormat&& other) noexcept {
        std::swap(visual, other.visual);
        std::swap(config, other.config);
        return *this;
    }
    ~PixelFormat() {
        if (visual)
            XFree(visual);
    }
};

} // namespace verdanium
