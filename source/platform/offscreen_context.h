#pragma once

#include <cstdint>

namespace verdanium {

// An OpenGL 3.2 compatibility context without a window or an X display, for programs that render headless:
// Mesa's surfaceless EGL platform with a pbuffer of the given size as the default framebuffer, so that
// glReadPixels reads back what a frame drew. When the constructor returns the context is current on the
// calling thread and GLEW has loaded the entry points. A failure throws std::runtime_error. Main thread only.
class OffscreenContext {
public:
    OffscreenContext(std::uint32_t width, std::uint32_t height);
    ~OffscreenContext();

    OffscreenContext(const OffscreenContext&) = delete;
    OffscreenContext& operator=(const OffscreenContext&) = delete;

    std::uint32_t width() const { return surfaceWidth; }
    std::uint32_t height() const { return surfaceHeight; }

private:
    void release();

    std::uint32_t surfaceWidth;
    std::uint32_t surfaceHeight;
    void* display = nullptr;
    void* surface = nullptr;
    void* context = nullptr;
};

} // namespace verdanium
