#pragma once

#include <string>

struct _XDisplay;

namespace verdanium::testing {

// Whether the display of DISPLAY can be opened; window tests skip without one.
bool haveXDisplay();

// Held by a test that makes windows, moves the focus or sends input on the
// shared X server, so that tests run side by side (ctest -j) neither steal input
// from each other nor see each other's windows.
class XInputLock {
public:
    XInputLock();
    ~XInputLock();
    XInputLock(const XInputLock&) = delete;
    XInputLock& operator=(const XInputLock&) = delete;

private:
    int file = -1;
};

// Runs xdotool with the arguments on the named display (DISPLAY when empty);
// true when it succeeded.
bool xdotool(const std::string& arguments, const std::string& display = "");

// Asks the window to close the way a window manager does: a WM_PROTOCOLS client
// message carrying WM_DELETE_WINDOW.
void sendCloseRequest(_XDisplay* display, unsigned long window);

// The window's UTF-8 title (_NET_WM_NAME); "" when it has none.
std::string windowTitle(_XDisplay* display, unsigned long window);

} // namespace verdanium::testing
