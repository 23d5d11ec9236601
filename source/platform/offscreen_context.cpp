#include "platform/offscreen_context.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <stdexcept>

namespace verdanium {

OffscreenContext::OffscreenContext(std::uint32_t width, std::uint32_t height)
    : surfaceWidth(width), surfaceHeight(height) {
    try {
        auto getPlatformDisplay =
            reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
        if (getPlatformDisplay == nullptr) {
            throw std::runtime_error("off-screen context: eglGetPlatformDisplayEXT is missing");
        }
        EGLDisplay eglDisplay =
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (eglDisplay == EGL_NO_DISPLAY || !eglInitialize(eglDisplay, nullptr, nullptr)) {
            throw std::runtime_error("off-screen context: no surfaceless EGL display");
        }
        display = eglDisplay;
        if (!eglBindAPI(EGL_OPENGL_API)) {
            throw std::runtime_error("off-screen context: desktop OpenGL is not available through EGL");
        }
        // The same bits as the program's window asks for.
        // clang-format off
        const EGLint configAttributes[] = {
            EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
            EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
            EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_ALPHA_SIZE, 8,
            EGL_DEPTH_SIZE, 24, EGL_STENCIL_SIZE, 8,
            EGL_NONE,
        };
        // clang-format on
        EGLConfig config = nullptr;
        EGLint configCount = 0;
        if (!eglChooseConfig(eglDisplay, configAttributes, &config, 1, &configCount) || configCount == 0) {
            throw std::runtime_error("off-screen context: no pbuffer configuration");
        }
        // clang-format off
        const EGLint contextAttributes[] = {
            EGL_CONTEXT_MAJOR_VERSION, 3,
            EGL_CONTEXT_MINOR_VERSION, 2,
            EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
            EGL_NONE,
        };
        // clang-format on
        context = eglCreateContext(eglDisplay, config, EGL_NO_CONTEXT, contextAttributes);
        if (context == EGL_NO_CONTEXT) {
            context = nullptr;
            throw std::runtime_error("off-screen context: eglCreateContext failed");
        }
        const EGLint surfaceAttributes[] = {EGL_WIDTH, static_cast<EGLint>(width == 0 ? 1 : width),
                                            EGL_HEIGHT, static_cast<EGLint>(height == 0 ? 1 : height),
                                            EGL_NONE};
        surface = eglCreatePbufferSurface(eglDisplay, config, surfaceAttributes);
        if (surface == EGL_NO_SURFACE) {
            surface = nullptr;
            throw std::runtime_error("off-screen context: eglCreatePbufferSurface failed");
        }
        if (!eglMakeCurrent(eglDisplay, surface, surface, context)) {
            throw std::runtime_error("off-screen context: eglMakeCurrent failed");
        }
        glewExperimental = GL_TRUE;
        GLenum status = glewInit();
        // On an EGL context GLEW 2.2 reports GLEW_ERROR_NO_GLX_DISPLAY (4) after it has loaded the GL entry
        // points: that is success here, and only here.
        if (status != GLEW_OK && status != 4) {
            throw std::runtime_error("failed to initialize GLEW");
        }
        // GLEW's probing may leave an error behind that is not ours to report.
        while (glGetError() != GL_NO_ERROR) {
        }
    } catch (...) {
        release();
        throw;
    }
}

OffscreenContext::~OffscreenContext() {
    release();
}

void OffscreenContext::release() {
    if (display == nullptr) {
        return;
    }
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (context != nullptr) {
        eglDestroyContext(display, context);
    }
    if (surface != nullptr) {
        eglDestroySurface(display, surface);
    }
    // The display is not terminated: EGL hands every caller in the process the same display, and another
    // context (a test's, say) may still live on it. The process end takes it.
    context = nullptr;
    surface = nullptr;
    display = nullptr;
}

} // namespace verdanium
