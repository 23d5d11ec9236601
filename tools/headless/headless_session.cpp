#include "headless_session.h"

#include "app/program_flags.h"
#include "platform/window.h"

#include <GL/glew.h>

#include <cstring>

namespace verdanium {

WindowSettings headlessWindowSettings(std::uint32_t width, std::uint32_t height) {
    WindowSettings settings;
    settings.width = width;
    settings.height = height;
    settings.redBits = settings.greenBits = settings.blueBits = settings.alphaBits = 8;
    settings.depthBits = 24;
    settings.stencilBits = 8;
    return settings;
}

HeadlessSession::HeadlessSession(std::uint32_t width, std::uint32_t height)
    : context(width, height), renderer(headlessWindowSettings(width, height)) {}

void advanceFlightTo(Scene& scene, double seconds) {
    gPaused = false;
    while (!gPaused && scene.time < seconds) {
        scene.update(0.01);
    }
    gPaused = true;
}

std::vector<std::uint8_t> readRgbPixels(std::uint32_t width, std::uint32_t height) {
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 3;
    std::vector<std::uint8_t> bottomUp(rowBytes * height);
    glFinish();
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RGB, GL_UNSIGNED_BYTE,
                 bottomUp.data());
    // GL counts rows from the bottom, image files from the top.
    std::vector<std::uint8_t> topDown(bottomUp.size());
    for (std::uint32_t row = 0; row < height; ++row) {
        std::memcpy(topDown.data() + static_cast<std::size_t>(row) * rowBytes,
                    bottomUp.data() + static_cast<std::size_t>(height - 1 - row) * rowBytes, rowBytes);
    }
    return topDown;
}

} // namespace verdanium
