#include "platform/x_connection.h"

#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace verdanium {

namespace {

XConnection gConnection;

constexpr int kOpenAttempts = 10;
constexpr auto kOpenRetryDelay = std::chrono::milliseconds(100);

// Set by the trap's handler; X errors arrive on the main thread only.
bool gTrappedError = false;

int recordError(Display*, XErrorEvent*) {
    gTrappedError = true;
    return 0;
}

} // namespace

XConnection* xConnection() {
    if (gConnection.display)
        return &gConnection;
    // A server that has just lost its last client resets itself and turns new
    // clients away meanwhile (Xvfb does so by default): give it a moment.
    Display* display = XOpenDisplay(nullptr);
    for (int attempt = 1; !display && attempt < kOpenAttempts && std::getenv("DISPLAY"); ++attempt) {
        std::this_thread::sleep_for(kOpenRetryDelay);
        display = XOpenDisplay(nullptr);
    }
    if (!display)
        return nullptr;

    gConnection.display = display;
    gConnection.wmProtocols = XInternAtom(display, "WM_PROTOCOLS", False);
    gConnection.wmDeleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    gConnection.netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    gConnection.netWmState = XInternAtom(display, "_NET_WM_STATE", False);
    gConnection.netWmStateFullscreen = XInternAtom(display, "_NET_WM_STATE_FULLSCREEN", False);
    gConnection.utf8String = XInternAtom(display, "UTF8_STRING", False);

    int event = 0, error = 0;
    if (!XQueryExtension(display, "XInputExtension", &gConnection.xinputOpcode, &event, &error))
        gConnection.xinputOpcode = -1;

    // Without this, a held key sends release and press pairs, indistinguishable
    // from real strokes; with it, only presses repeat and the key-down state
    // tells them apart.
    Bool supported = False;
    XkbSetDetectableAutoRepeat(display, True, &supported);
    gConnection.detectableAutoRepeat = supported;
    return &gConnection;
}

XErrorTrap::XErrorTrap(Display* display) : display(display) {
    // Errors of earlier requests belong to nobody here: let them surface first.
    XSync(display, False);
    gTrappedError = false;
    previousHandler = XSetErrorHandler(recordError);
}

XErrorTrap::~XErrorTrap() {
    XSync(display, False);
    XSetErrorHandler(previousHandler);
}

bool XErrorTrap::failed() {
    XSync(display, False);
    return gTrappedError;
}

} // namespace verdanium
