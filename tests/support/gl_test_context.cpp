#include "support/gl_test_context.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>

namespace verdanium::testing {
namespace {

bool createContext() {
    auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        std::fprintf(stderr, "gl test context: eglGetPlatformDisplayEXT is missing\n");
        return false;
    }
    EGLDisplay display = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) {
        std::fprintf(stderr, "gl test context: no surfaceless EGL display\n");
        return false;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) {
        std::fprintf(stderr, "gl test context: desktop OpenGL is not available through EGL\n");
        return false;
    }
    const EGLint configAttributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
                                       EGL_RED_SIZE,     8,               EGL_GREEN_SIZE,      8,
                                       EGL_BLUE_SIZE,    8,               EGL_ALPHA_SIZE,      8,
                                       EGL_DEPTH_SIZE,   24,              EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configCount = 0;
    if (!eglChooseConfig(display, configAttributes, &config, 1, &configCount) || configCount == 0) {
        std::fprintf(stderr, "gl test context: no pbuffer configuration\n");
        return false;
    }
    const EGLint contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                        3,
                                        EGL_CONTEXT_MINOR_VERSION,
                                        2,
                                        EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                        EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                                        EGL_NONE};
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, contextAttributes);
    if (context == EGL_NO_CONTEXT) {
        std::fprintf(stderr, "gl test context: eglCreateContext failed\n");
        return false;
    }
    // A small pbuffer gives the default framebuffer something to point at; the
    // tests draw into their own framebuffer objects.
    const EGLint surfaceAttributes[] = {EGL_WIDTH, 64, EGL_HEIGHT, 64, EGL_NONE};
    EGLSurface surface = eglCreatePbufferSurface(display, config, surfaceAttributes);
    if (!eglMakeCurrent(display, surface, surface, context)) {
        std::fprintf(stderr, "gl test context: eglMakeCurrent failed\n");
        return false;
    }
    glewExperimental = GL_TRUE;
    GLenum status = glewInit();
    // On an EGL context GLEW 2.2 reports GLEW_ERROR_NO_GLX_DISPLAY (4) after it
    // has loaded the GL entry points: that is success here, and only here.
    if (status != GLEW_OK && status != 4) {
        std::fprintf(stderr, "gl test context: glewInit failed with %u\n", status);
        return false;
    }
    while (glGetError() != GL_NO_ERROR) {
    }
    return true;
}

} // namespace

bool makeGlContextCurrent() {
    static const bool available = createContext();
    return available;
}

} // namespace verdanium::testing
