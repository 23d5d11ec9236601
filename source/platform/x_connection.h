#pragma once

#include <X11/Xlib.h>

namespace verdanium {

// The process's one connection to the X server, with the atoms and extension
// codes the window needs. Windows and framebuffer configurations belong to a
// connection, so it lives until the process ends: a configuration chosen through
// the bootstrap window must stay valid for the window that replaces it.
struct XConnection {
    Display* display = nullptr;
    Atom wmProtocols = 0;
    Atom wmDeleteWindow = 0;
    Atom netWmName = 0;
    Atom netWmState = 0;
    Atom netWmStateFullscreen = 0;
    Atom utf8String = 0;
    int xinputOpcode = -1;             // -1 when the server lacks XInputExtension
    bool detectableAutoRepeat = false; // held keys repeat presses without releases
};

// Opens the connection on first use, to the display named by DISPLAY. Returns
// null when no display can be opened; later calls try again.
XConnection* xConnection();

// Catches the X protocol errors of the requests made during its lifetime, which
// Xlib would otherwise report by ending the process. Not reentrant: one at a time.
class XErrorTrap {
public:
    explicit XErrorTrap(Display* display);
    ~XErrorTrap();
    XErrorTrap(const XErrorTrap&) = delete;
    XErrorTrap& operator=(const XErrorTrap&) = delete;

    // Waits for the server to process every request so far; true if any failed.
    bool failed();

private:
    Display* display;
    int (*previousHandler)(Display*, XErrorEvent*);
};

} // namespace verdanium
