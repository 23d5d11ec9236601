#pragma once

#include <cstdint>
#include <deque>

namespace verdanium {

// What an Event carries. The value 6 is reserved and never made.
enum EventKind : std::int32_t {
    EventKindKey = 1,
    EventKindMouseButton = 2,
    EventKindMouseMotion = 3,   // relative motion straight from the device
    EventKindMousePosition = 4, // a device reporting absolute positions
    EventKindMouseWheel = 5,
    EventKindFocus = 7,
    EventKindResize = 8,
};

// A key going down or up. Commands match on `name` alone (see keyName); the
// key symbol and code are kept for whoever needs the raw key.
struct KeyboardEvent {
    std::uint64_t keySym;  // the key's unshifted X key symbol
    std::uint64_t keyCode; // the X key code (the physical key)
    char name[100];        // NUL-terminated, at most 99 characters
    bool pressed;
};

// Buttons 1 left, 2 right, 3 middle, 4 back, 5 forward.
struct MouseButtonEvent {
    std::int32_t button;
    bool pressed;
};

// Never both zero: a packet without movement makes no event.
struct MouseMotionEvent {
    std::int32_t dx;
    std::int32_t dy;
};

struct MousePositionEvent {
    std::int32_t x;
    std::int32_t y;
};

// One notch is 120; away from the user is positive, towards the user negative.
struct MouseWheelEvent {
    std::int32_t amount;
};

struct FocusEvent {
    bool gained;
};

// The new client size of the window in pixels.
struct ResizeEvent {
    std::uint32_t width;
    std::uint32_t height;
};

// One input event, copied by value. `time` is the elapsed seconds of gStopwatch
// when the event was made; `kind` says which member of the payload is valid.
struct Event {
    EventKind kind;
    double time;
    union {
        KeyboardEvent keyboard;
        MouseButtonEvent mouseButton;
        MouseMotionEvent mouseMotion;
        MousePositionEvent mousePosition;
        MouseWheelEvent mouseWheel;
        FocusEvent focus;
        ResizeEvent resize;
    };
};

// Input waiting for the frame loop, oldest first, without a length limit. The
// window's message pump fills it and the frame loop drains it, both on the main
// thread, so it has no lock.
extern std::deque<Event> gEventQueue;

// Stamps `event` with the current time of gStopwatch and appends it to gEventQueue.
void queueEvent(Event event);

} // namespace verdanium
