#pragma once

#include "platform/window.h"

namespace verdanium {

// What the program asks of its window: a client area of 640 x 480, 8 bits each
// of red, green, blue and alpha, a 24-bit depth and an 8-bit stencil buffer.
// Every later field keeps its zero: no multisampling, windowed, no vertical sync
// (so the frame rate shows the work), no stereo, no sRGB framebuffer.
inline WindowSettings programWindowSettings() {
    WindowSettings settings;
    settings.width = 640;
    settings.height = 480;
    settings.redBits = 8;
    settings.greenBits = 8;
    settings.blueBits = 8;
    settings.alphaBits = 8;
    settings.depthBits = 24;
    settings.stencilBits = 8;
    return settings;
}

} // namespace verdanium
