// Choosing the framebuffer and making the GL contexts of the Window.

#include "platform/window.h"

#include <GL/glew.h>
#include <GL/glxew.h>

#include "foundation/gl_error.h"
#include "platform/pixel_format.h"
#include "platform/x_connection.h"

#include <stdexcept>
#include <vector>

namespace verdanium {

namespace {

int asInt(std::uint32_t value) {
    return int(value);
}

// Runs a call that makes a context with X errors trapped: a server that refuses
// the visual, version or profile answers with an X error, which must become our
// exception rather than Xlib's exit.
template <typename Create>
GLXContext createTrapped(Display* display, Create&& create) {
    XErrorTrap trap(display);
    GLXContext context = create();
    if (trap.failed() && context) {
        glXDestroyContext(display, context);
        context = nullptr;
    }
    return context;
}

// Makes `next` current on the window in the place of `current`, which it
// destroys. A context that cannot be made current is destroyed and failureText
// thrown; what stood before is left to the construction guard. glXMakeCurrent
// reports some refusals as X errors rather than by its result.
void adoptContext(Display* display, ::Window window, GLXContext& current, GLXContext next,
                  const char* failureText, const char* checkSite) {
    {
        XErrorTrap trap(display);
        const bool made = glXMakeCurrent(display, window, next);
        if (trap.failed() || !made) {
            glXDestroyContext(display, next);
            throw std::runtime_error(failureText);
        }
    }
    checkGlError(checkSite);
    if (current)
        glXDestroyContext(display, current);
    current = next;
}

} // namespace

PixelFormat Window::choosePixelFormatPfd(const WindowSettings& requested) {
    // clang-format off
    std::vector<int> attributes = {
        GLX_RGBA,
        GLX_DOUBLEBUFFER,
        GLX_RED_SIZE, asInt(requested.redBits),
        GLX_GREEN_SIZE, asInt(requested.greenBits),
        GLX_BLUE_SIZE, asInt(requested.blueBits),
        GLX_ALPHA_SIZE, asInt(requested.alphaBits),
        GLX_STENCIL_SIZE, asInt(requested.stencilBits),
    };
    // clang-format on
    // No depth asked for means any depth will do, not "none, preferably".
    if (requested.depthBits != 0)
        attributes.insert(attributes.end(), {GLX_DEPTH_SIZE, asInt(requested.depthBits)});
    if (requested.stereo)
        attributes.push_back(GLX_STEREO);
    attributes.push_back(None);

    Display* x = xConnection()->display;
    PixelFormat format;
    format.visual = glXChooseVisual(x, DefaultScreen(x), attributes.data());
    if (!format.visual)
        throw std::runtime_error("no suitable pixel format found through PFD");
    return format;
}

void Window::applyPixelFormat(const PixelFormat& format) {
    // The window already has its visual (X sets it at creation); what is left is
    // to record the bits that the format really gives.
    auto query = [&](int attribute) {
        int value = 0;
        const int result = format.config ? glXGetFBConfigAttrib(display, format.config, attribute, &value)
                                         : glXGetConfig(display, format.visual, attribute, &value);
        if (result != Success)
            throw std::runtime_error("could not get the pixel format description");
        return value;
    };
    settings.stereo = query(GLX_STEREO) != 0;
    settings.redBits = std::uint32_t(query(GLX_RED_SIZE));
    settings.greenBits = std::uint32_t(query(GLX_GREEN_SIZE));
    settings.blueBits = std::uint32_t(query(GLX_BLUE_SIZE));
    settings.alphaBits = std::uint32_t(query(GLX_ALPHA_SIZE));
    settings.depthBits = std::uint32_t(query(GLX_DEPTH_SIZE));
    settings.stencilBits = std::uint32_t(query(GLX_STENCIL_SIZE));
}

void Window::createBootstrapContext(const PixelFormat& format) {
    GLXContext context =
        createTrapped(display, [&] { return glXCreateContext(display, format.visual, nullptr, True); });
    if (!context)
        throw std::runtime_error("could not create the rendering context");
    adoptContext(display, handle, renderingContext, context, "could not activate the rendering context",
                 gl_check_site::kWindowBootstrapContext);
}

void Window::loadExtensions() {
    checkGlError(gl_check_site::kWindowBeforeGlew);
    if (glewInit() != GLEW_OK)
        throw std::runtime_error("failed to initialize GLEW");
    checkGlError(gl_check_site::kWindowAfterGlew);
}

PixelFormat Window::choosePixelFormatWgl(const WindowSettings& requested) {
    // Framebuffer configurations came with GLX 1.3.
    Display* x = xConnection()->display;
    int major = 0, minor = 0;
    if (!glXQueryVersion(x, &major, &minor) || major < 1 || (major == 1 && minor < 3))
        throw std::runtime_error("wglChoosePixelFormat failed");

    // Xvfb and others list configurations without a visual, or for pixmaps only:
    // the first three entries keep the ones a window can use.
    // clang-format off
    const int attributes[] = {
        GLX_X_RENDERABLE, True,
        GLX_DRAWABLE_TYPE, GLX_WINDOW_BIT,
        GLX_X_VISUAL_TYPE, GLX_TRUE_COLOR,
        GLX_CONFIG_CAVEAT, GLX_NONE, // full acceleration: no slow configurations
        GLX_RENDER_TYPE, GLX_RGBA_BIT,
        GLX_DOUBLEBUFFER, True,
        GLX_STEREO, requested.stereo ? True : False,
        GLX_BUFFER_SIZE, asInt(requested.redBits + requested.greenBits + requested.blueBits),
        GLX_RED_SIZE, asInt(requested.redBits),
        GLX_GREEN_SIZE, asInt(requested.greenBits),
        GLX_BLUE_SIZE, asInt(requested.blueBits),
        GLX_ALPHA_SIZE, asInt(requested.alphaBits),
        GLX_DEPTH_SIZE, asInt(requested.depthBits),
        GLX_STENCIL_SIZE, asInt(requested.stencilBits),
        GLX_SAMPLE_BUFFERS, requested.samples > 1 ? 1 : 0,
        GLX_SAMPLES, asInt(requested.samples),
        None,
    };
    // clang-format on
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(x, DefaultScreen(x), attributes, &count);
    PixelFormat format;
    if (configs && count > 0)
        format.config = configs[0];
    if (configs)
        XFree(configs);
    if (format.config)
        format.visual = glXGetVisualFromFBConfig(x, format.config);
    if (!format.visual)
        throw std::runtime_error("no suitable pixel format found through WGL");
    return format;
}

void Window::createFinalContext(const PixelFormat& format) {
    // clang-format off
    const int attributes[] = {
        GLX_CONTEXT_MAJOR_VERSION_ARB, 3,
        GLX_CONTEXT_MINOR_VERSION_ARB, 2,
        GLX_CONTEXT_FLAGS_ARB, 0,
        GLX_CONTEXT_PROFILE_MASK_ARB, GLX_CONTEXT_COMPATIBILITY_PROFILE_BIT_ARB,
        None,
    };
    // clang-format on
    GLXContext context = nullptr;
    if (glXCreateContextAttribsARB)
        context = createTrapped(display, [&] {
            return glXCreateContextAttribsARB(display, format.config, nullptr, True, attributes);
        });
    if (!context)
        throw std::runtime_error("could not create the rendering context through WGL");
    adoptContext(display, handle, renderingContext, context,
                 "could not activate the rendering context through WGL", gl_check_site::kWindowFinalContext);
}

} // namespace verdanium
