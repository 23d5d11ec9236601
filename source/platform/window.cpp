// Building and taking down the Window: two X windows in turn, because the
// entry points that choose a framebuffer and ask for a context version can only
// be loaded through a context that already exists.

#include "platform/window.h"

#include <GL/glew.h>
#include <GL/glxew.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>

#include "platform/event.h"
#include "platform/pixel_format.h"
#include "platform/x_connection.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace verdanium {

std::map<unsigned long, Window*> gWindows;

namespace {

// Runs a clean-up unless dismissed, so that a failing step takes down what the
// steps before it built.
template <typename CleanUp>
class Guard {
public:
    explicit Guard(CleanUp cleanUp) : cleanUp(cleanUp) {}
    ~Guard() {
        if (armed)
            cleanUp();
    }
    void dismiss() { armed = false; }

private:
    CleanUp cleanUp;
    bool armed = true;
};

// How long showAndFocus() waits for the server to map the window before it gives up on
// focusing it; a window manager may hold the map back for a while.
constexpr auto kMapTimeout = std::chrono::seconds(3);

} // namespace

Window::Window(const WindowSettings& requested) : settings(requested) {
    settings.sRgb = false; // the renderer's business, not kept here
    Guard guard([this] { destroyNativeWindow(); });

    registerWindowClass();

    PixelFormat bootstrapFormat = choosePixelFormatPfd(settings);
    createNativeWindow(settings, bootstrapFormat);
    applyPixelFormat(bootstrapFormat);
    createBootstrapContext(bootstrapFormat);
    loadExtensions();

    PixelFormat format = choosePixelFormatWgl(settings);
    createNativeWindow(settings, format);
    applyPixelFormat(format);
    createFinalContext(format);
    loadExtensions();

    gWindows[handle] = this;
    showAndFocus();
    setSwapInterval();
    selectRawMouseInput();
    guard.dismiss();
}

Window::~Window() {
    destroyNativeWindow();
}

void Window::registerWindowClass() {
    // The one process-wide piece, like a registered window class: the server
    // connection with its atoms, kept for every later window. Without a display
    // this is where the program stops.
    if (!xConnection())
        throw std::runtime_error("failed to register the window class");
}

void Window::createNativeWindow(const WindowSettings& requested, const PixelFormat& format) {
    destroyNativeWindow();
    Guard guard([this] { destroyNativeWindow(); });

    XConnection& connection = *xConnection();
    Display* x = connection.display;
    const ::Window root = RootWindow(x, format.visual->screen);
    {
        XErrorTrap trap(x);
        colormap = XCreateColormap(x, root, format.visual->visual, AllocNone);
        XSetWindowAttributes attributes{};
        attributes.colormap = colormap;
        attributes.border_pixel = 0;
        attributes.event_mask =
            KeyPressMask | KeyReleaseMask | FocusChangeMask | KeymapStateMask | StructureNotifyMask;
        handle = XCreateWindow(x, root, 0, 0, requested.width, requested.height, 0, format.visual->depth,
                               InputOutput, format.visual->visual, CWColormap | CWBorderPixel | CWEventMask,
                               &attributes);
        if (trap.failed() || !handle) {
            // The guard cannot tell a half-made window from a whole one.
            if (handle)
                XDestroyWindow(x, handle);
            XFreeColormap(x, colormap);
            handle = 0;
            colormap = 0;
        }
    }
    if (!handle)
        throw std::runtime_error("window creation failed");
    display = x;

    XStoreName(x, handle, "verdanium");
    XChangeProperty(x, handle, connection.netWmName, connection.utf8String, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>("verdanium"), 9);
    XSetWMProtocols(x, handle, &connection.wmDeleteWindow, 1);
    XClassHint classHint{const_cast<char*>("verdanium"), const_cast<char*>("verdanium")};
    XSetClassHint(x, handle, &classHint);
    if (requested.fullscreen)
        enterFullscreen(requested);
    guard.dismiss();
}

void Window::enterFullscreen(const WindowSettings&) {
    // Asks the window manager to cover the screen when the window is mapped. The
    // display mode itself is left alone, so there is nothing to give back later.
    XConnection& connection = *xConnection();
    XChangeProperty(display, handle, connection.netWmState, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&connection.netWmStateFullscreen), 1);
}

void Window::showAndFocus() {
    XMapRaised(display, handle);

    // Focus can only go to a viewable window, so wait for the map first. Other
    // events stay queued for the message pump.
    auto isMapNotify = [](Display*, XEvent* event, XPointer window) {
        return Bool(event->type == MapNotify && event->xmap.window == ::Window(window));
    };
    XEvent mapped{};
    const auto deadline = std::chrono::steady_clock::now() + kMapTimeout;
    bool viewable = false;
    while (!viewable && std::chrono::steady_clock::now() < deadline) {
        XSync(display, False);
        viewable = XCheckIfEvent(display, &mapped, isMapNotify, XPointer(handle));
        if (!viewable)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    // Showing a window reports its size, as a resize would.
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(display, handle, &attributes))
        handleResize(std::uint32_t(attributes.width), std::uint32_t(attributes.height));
    else
        handleResize(settings.width, settings.height);

    if (viewable) {
        // A window manager may refuse or delay the focus; that is its right.
        XErrorTrap trap(display);
        XSetInputFocus(display, handle, RevertToParent, CurrentTime);
    }
    // The focus change is reported by the server before it answers the sync, so
    // dispatching now puts the first focus event behind the first size event.
    dispatchMessages();
}

void Window::setSwapInterval() {
    const int interval = settings.verticalSync ? 1 : 0;
    XErrorTrap trap(display);
    if (GLXEW_EXT_swap_control && glXSwapIntervalEXT)
        glXSwapIntervalEXT(display, handle, interval);
    else if (GLXEW_MESA_swap_control && glXSwapIntervalMESA)
        glXSwapIntervalMESA(unsigned(interval));
}

void Window::selectRawMouseInput() {
    // Raw events carry the device's own counts, unaccelerated and unclamped at
    // the screen edge. Servers send them to clients that announced XInput 2.1 or
    // later and selected them on the root window.
    XConnection& connection = *xConnection();
    int major = 2, minor = 2;
    if (connection.xinputOpcode < 0 || XIQueryVersion(display, &major, &minor) != Success ||
        major * 100 + minor < 201)
        throw std::runtime_error("failed to initialize mouse");

    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawMotion);
    XISetMask(bits, XI_RawButtonPress);
    XISetMask(bits, XI_RawButtonRelease);
    XIEventMask mask{XIAllMasterDevices, int(sizeof bits), bits};
    XErrorTrap trap(display);
    XISelectEvents(display, DefaultRootWindow(display), &mask, 1);
    if (trap.failed())
        throw std::runtime_error("failed to initialize mouse");
}

void Window::destroyNativeWindow() {
    gWindows.erase(handle);
    if (handle && display) {
        if (renderingContext) {
            // Deleting a current context leaves it current on GLX until it is
            // released, so release it first, as deleting it on other systems does.
            if (glXGetCurrentContext() == renderingContext)
                glXMakeCurrent(display, None, nullptr);
            glXDestroyContext(display, renderingContext);
            renderingContext = nullptr;
        }
        if (cursorConfined)
            XUngrabPointer(display, CurrentTime);
        XDestroyWindow(display, handle);
        XFreeColormap(display, colormap);
        // Waits for the server, so that once this returns no other client can
        // still see the window.
        XSync(display, False);
    }
    handle = 0;
    colormap = 0;
    display = nullptr;
    focused = false;
    cursorConfined = false;
    std::fill(std::begin(keysDown), std::end(keysDown), false);
}

void Window::swapBuffers() {
    glXSwapBuffers(display, handle);
}

void Window::setTitle(const std::string& title) {
    // WM_NAME for old window managers, _NET_WM_NAME in UTF-8 for the rest.
    XStoreName(display, handle, title.c_str());
    XChangeProperty(display, handle, xConnection()->netWmName, xConnection()->utf8String, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(title.data()), int(title.size()));
    XFlush(display);
}

} // namespace verdanium
