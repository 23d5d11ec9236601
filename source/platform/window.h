#pragma once

#include <cstdint>
#include <map>
#include <string>

// Xlib and GLX types by their tag names, so that users of the window do not pull
// in the X headers and their macros (None, Bool, Status, ...).
struct _XDisplay;
union _XEvent;
struct __GLXcontextRec;
struct __GLXFBConfigRec;

namespace verdanium {

// A framebuffer configuration with its X visual (defined with the window code).
struct PixelFormat;

// What the program asks of its window. Bit counts are minimums: the window's own
// copy holds what the chosen framebuffer configuration really gives.
struct WindowSettings {
    std::uint32_t width = 0;  // client width in pixels
    std::uint32_t height = 0; // client height in pixels
    std::uint32_t redBits = 0;
    std::uint32_t greenBits = 0;
    std::uint32_t blueBits = 0;
    std::uint32_t alphaBits = 0;
    std::uint32_t depthBits = 0;
    std::uint32_t stencilBits = 0;
    std::uint32_t samples = 0; // multisampling; above 1 turns the sample buffer on
    bool fullscreen = false;
    std::uint32_t refreshRate = 0; // kept for the record; the display mode is never changed
    bool verticalSync = false;     // swap interval 1 if true, else 0
    bool stereo = false;
    bool sRgb = false; // read by the renderer, not by the window
};

// The program's one top-level X11 window with its OpenGL 3.2 compatibility
// context. When the constructor returns, the context is current on the calling
// thread, GLEW has loaded the entry points, the window is shown, the first size
// and focus events wait in gEventQueue, and raw mouse motion is selected.
// Every failure throws std::runtime_error and leaves no window, no context and no
// entry in gWindows behind. Main thread only.
class Window {
public:
    explicit Window(const WindowSettings& settings);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Shows the next frame (glXSwapBuffers).
    void swapBuffers();

    // Hands every X event that has arrived to its window (handleMessage through
    // gWindows); raw mouse input goes to this window. Returns when none is left.
    void dispatchMessages();

    // Sets the window title (UTF-8) for the window manager.
    void setTitle(const std::string& title);

    // Turns one X event into Event records on gEventQueue. Returns false for events
    // that mean nothing to the window. Raw input events must come with their cookie
    // data already fetched.
    bool handleMessage(_XEvent& event);

    // Confines the pointer to the client area (enable) or releases it. Throws
    // std::runtime_error when the X server refuses.
    void updateCursorClip(bool enable);

    WindowSettings settings;                     // bit counts and size as they really are
    _XDisplay* display = nullptr;                // the X connection while a window exists
    unsigned long handle = 0;                    // the X window, 0 when there is none
    __GLXcontextRec* renderingContext = nullptr; // the GL context, null when there is none
    bool focused = false;                        // keyboard focus; raw mouse input counts only then
    bool clipCursor = false;                     // confine the pointer while focused (never set)
    bool pumpMessages = true;                    // the renderer dispatches messages after each swap
    bool filterKeyRepeat = true;                 // drop auto-repeat presses

private:
    void registerWindowClass();
    void createNativeWindow(const WindowSettings& settings, const PixelFormat& format);
    void enterFullscreen(const WindowSettings& settings);
    PixelFormat choosePixelFormatPfd(const WindowSettings& settings);
    void applyPixelFormat(const PixelFormat& format);
    void createBootstrapContext(const PixelFormat& format);
    void loadExtensions();
    PixelFormat choosePixelFormatWgl(const WindowSettings& settings);
    void createFinalContext(const PixelFormat& format);
    void showAndFocus();
    void setSwapInterval();
    void selectRawMouseInput();
    void destroyNativeWindow();

    void handleResize(std::uint32_t width, std::uint32_t height);
    void handleFocus(bool gained);
    bool handleKey(_XEvent& event, bool pressed);
    bool handleRawInput(_XEvent& event);

    unsigned long colormap = 0;
    bool cursorConfined = false;
    bool keysDown[256] = {};        // by key code, to recognise auto-repeat presses
    double motionRemainder[2] = {}; // sub-count raw motion carried to the next packet
};

// Every constructed window by its X window, so that events find their object.
extern std::map<unsigned long, Window*> gWindows;

} // namespace verdanium
