#pragma once

#include "platform/event.h"
#include "platform/window.h"

#include <functional>
#include <string>
#include <vector>

namespace verdanium::testing {

// Whether an X display can be opened; window tests skip without one.
bool haveXDisplay();

// The settings main gives the window: 640 x 480, RGBA 8888, depth 24, stencil 8.
WindowSettings programWindowSettings();

// Held by a test that moves the focus or sends input through the X server, so
// that tests sharing one display (ctest -j) do not steal input from each other.
class XInputLock {
public:
    XInputLock();
    ~XInputLock();
    XInputLock(const XInputLock&) = delete;
    XInputLock& operator=(const XInputLock&) = delete;

private:
    int file = -1;
};

// Runs xdotool with the given arguments; true when it succeeded.
bool xdotool(const std::string& arguments);

// Pumps the window's messages until `done` holds or two seconds have passed.
bool pumpUntil(Window& window, const std::function<bool()>& done);

// Pumps the window's messages for a short while, for checks that nothing comes.
void pumpBriefly(Window& window);

// Asks the window to close the way a window manager does, from a connection of
// its own.
void sendCloseRequest(unsigned long window);

// The events of one kind now in gEventQueue, oldest first.
std::vector<Event> queuedEvents(EventKind kind);

// The number of top-level windows on the display, seen from a connection of
// its own.
int topLevelWindowCount();

} // namespace verdanium::testing
