// Turning X events into the program's input events.

#include "platform/window.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>

#include "app/program_flags.h"
#include "platform/event.h"
#include "platform/key_name.h"
#include "platform/x_connection.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <map>
#include <stdexcept>

namespace verdanium {

namespace {

// The wheel moves in notches of this many units, positive away from the user.
constexpr std::int32_t kWheelNotch = 120;

// The program's buttons, 1 to 5 (left, right, middle, back, forward), by X's
// button number: X numbers the middle button 2 and the right one 3, wheel
// notches 4 and 5, sideways 6 and 7, back and forward 8 and 9. 0: no button.
constexpr std::int32_t kButtonOfXButton[10] = {0, 1, 3, 2, 0, 0, 0, 0, 4, 5};

// Someone watching the picture converge touches nothing for minutes. While the
// window has the focus, the server's screen saver and display power saving are
// held off by resetting their timers this often.
constexpr auto kScreenSaverResetInterval = std::chrono::seconds(30);

// Finds the window an event belongs to; events of windows that are gone, or not
// yet entered, mean nothing to the program.
void windowProcedure(XEvent& event) {
    const auto entry = gWindows.find(event.xany.window);
    if (entry != gWindows.end())
        entry->second->handleMessage(event);
}

// Frees the data of a raw input event however its handling ends.
class CookieData {
public:
    CookieData(Display* display, XGenericEventCookie& cookie)
        : display(display), cookie(cookie), fetched(XGetEventData(display, &cookie)) {}
    ~CookieData() {
        if (fetched)
            XFreeEventData(display, &cookie);
    }
    explicit operator bool() const { return fetched; }

private:
    Display* display;
    XGenericEventCookie& cookie;
    bool fetched;
};

// Whether a pointer device reports positions rather than movements, by its
// first valuator's mode; asked once per device.
bool reportsPositions(Display* display, int device) {
    static std::map<int, bool> absoluteByDevice;
    const auto known = absoluteByDevice.find(device);
    if (known != absoluteByDevice.end())
        return known->second;

    bool absolute = false;
    int count = 0;
    XIDeviceInfo* info = nullptr;
    {
        // The device may be gone by the time its event is read.
        XErrorTrap trap(display);
        info = XIQueryDevice(display, device, &count);
        trap.failed();
    }
    for (int c = 0; info && c < info->num_classes; ++c) {
        const XIAnyClassInfo* any = info->classes[c];
        if (any->type != XIValuatorClass)
            continue;
        const auto* valuator = reinterpret_cast<const XIValuatorClassInfo*>(any);
        if (valuator->number == 0)
            absolute = valuator->mode == XIModeAbsolute;
    }
    if (info)
        XIFreeDeviceInfo(info);
    absoluteByDevice[device] = absolute;
    return absolute;
}

} // namespace

void Window::dispatchMessages() {
    if (!display)
        return;
    if (focused) {
        static auto lastReset = std::chrono::steady_clock::time_point();
        const auto now = std::chrono::steady_clock::now();
        if (now - lastReset >= kScreenSaverResetInterval) {
            XResetScreenSaver(display);
            lastReset = now;
        }
    }
    const int xinputOpcode = xConnection()->xinputOpcode;
    while (XPending(display)) {
        XEvent event{};
        XNextEvent(display, &event);
        // Raw input is selected on the root window, so it comes to the window
        // that pumps rather than through the lookup.
        if (event.type == GenericEvent && event.xcookie.extension == xinputOpcode) {
            CookieData data(display, event.xcookie);
            if (data)
                handleMessage(event);
            continue;
        }
        // The server sends the key map right after each FocusIn, without a window: it belongs to the
        // window that has just been given the focus.
        static ::Window lastFocusIn = 0;
        if (event.type == FocusIn)
            lastFocusIn = event.xfocus.window;
        else if (event.type == KeymapNotify)
            event.xkeymap.window = lastFocusIn;
        windowProcedure(event);
    }
}

bool Window::handleMessage(XEvent& event) {
    switch (event.type) {
    case ConfigureNotify:
        // Moves and restacking come the same way; only a new size counts.
        if (std::uint32_t(event.xconfigure.width) != settings.width ||
            std::uint32_t(event.xconfigure.height) != settings.height)
            handleResize(std::uint32_t(event.xconfigure.width), std::uint32_t(event.xconfigure.height));
        return true;
    case FocusIn:
    case FocusOut:
        // The focus moving within the window or following the pointer leaves it
        // where it was.
        if (event.xfocus.detail == NotifyInferior || event.xfocus.detail == NotifyPointer)
            return true;
        // Another client taking the keyboard for a while (a global hot key, a
        // screen locker) leaves the focus where it was too, but the releases made
        // meanwhile go to that client: what is down is forgotten here, and the key
        // map that follows the FocusIn of the ungrab says what is still held.
        if (event.xfocus.mode == NotifyGrab || event.xfocus.mode == NotifyUngrab) {
            if (event.type == FocusOut)
                std::fill(std::begin(keysDown), std::end(keysDown), false);
            return true;
        }
        handleFocus(event.type == FocusIn);
        return true;
    case KeymapNotify:
        // The keys down as the focus arrives, by key code: a key still held keeps
        // its repeats filtered, and any other key's next press is a press.
        for (unsigned code = 0; code < 256; ++code)
            keysDown[code] = (event.xkeymap.key_vector[code / 8] >> (code % 8)) & 1;
        return true;
    case ClientMessage:
        if (event.xclient.message_type == xConnection()->wmProtocols && event.xclient.format == 32 &&
            Atom(event.xclient.data.l[0]) == xConnection()->wmDeleteWindow) {
            // Closing is the frame loop's decision: the window stays until main ends.
            gQuitRequested = true;
            return true;
        }
        return false;
    case KeyPress:
        return handleKey(event, true);
    case KeyRelease:
        return handleKey(event, false);
    case GenericEvent:
        return handleRawInput(event);
    default:
        return false;
    }
}

void Window::handleResize(std::uint32_t width, std::uint32_t height) {
    settings.width = width;
    settings.height = height;
    if (focused && clipCursor)
        updateCursorClip(true);
    Event event{};
    event.kind = EventKindResize;
    event.resize = {width, height};
    queueEvent(event);
}

void Window::handleFocus(bool gained) {
    focused = gained;
    if (gained) {
        if (clipCursor)
            updateCursorClip(true);
    } else {
        updateCursorClip(false);
        // Releases now go to another window; a key still marked down would turn
        // its next real press into a repeat. The key map that follows the next
        // FocusIn marks the keys held as the focus comes back.
        std::fill(std::begin(keysDown), std::end(keysDown), false);
    }
    Event event{};
    event.kind = EventKindFocus;
    event.focus = {gained};
    queueEvent(event);
}

bool Window::handleKey(XEvent& event, bool pressed) {
    // With detectable auto-repeat a held key sends more presses and no releases,
    // so a press of a key that is already down is a repeat.
    const unsigned keyCode = event.xkey.keycode & 0xff;
    const bool repeat = pressed && keysDown[keyCode];
    keysDown[keyCode] = pressed;
    if (repeat && filterKeyRepeat)
        return true;

    // Level 0 names the key whatever the modifiers; the keypad's digits live on
    // level 1 whatever NumLock says.
    const KeySym keySym = XLookupKeysym(&event.xkey, 0);
    const KeySym keypadKeySym = XLookupKeysym(&event.xkey, 1);
    Event queued{};
    queued.kind = EventKindKey;
    queued.keyboard.keySym = keySym;
    queued.keyboard.keyCode = event.xkey.keycode;
    const std::string name = keyName(keySym, keypadKeySym, event.xkey.keycode);
    std::strncpy(queued.keyboard.name, name.c_str(), sizeof queued.keyboard.name - 1);
    queued.keyboard.pressed = pressed;
    queueEvent(queued);
    return true;
}

bool Window::handleRawInput(XEvent& event) {
    if (event.xcookie.extension != xConnection()->xinputOpcode || !event.xcookie.data)
        return false;
    // Raw input is for everyone on the screen; only the focused window acts on it.
    if (!focused)
        return true;
    const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);

    switch (event.xcookie.evtype) {
    case XI_RawMotion: {
        // raw_values holds one value per set bit of the mask, in bit order.
        double values[2] = {};
        const double* next = raw->raw_values;
        for (int bit = 0; bit < raw->valuators.mask_len * 8; ++bit) {
            if (!XIMaskIsSet(raw->valuators.mask, bit))
                continue;
            if (bit < 2)
                values[bit] = *next;
            ++next;
        }
        const bool absolute = reportsPositions(event.xcookie.display, raw->sourceid);
        std::int32_t counts[2] = {};
        for (int axis = 0; axis < 2; ++axis) {
            if (absolute) {
                counts[axis] = std::int32_t(std::lround(values[axis]));
                continue;
            }
            // Devices with sub-count resolution send fractions: keep what does not
            // make a whole count for the next packet, so slow motion is not lost.
            motionRemainder[axis] += values[axis];
            counts[axis] = std::int32_t(std::trunc(motionRemainder[axis]));
            motionRemainder[axis] -= counts[axis];
        }
        // Two zeros make no event, as a packet without movement makes none: the
        // camera's turn needs a non-zero axis.
        if (counts[0] == 0 && counts[1] == 0)
            return true;
        Event queued{};
        queued.kind = absolute ? EventKindMousePosition : EventKindMouseMotion;
        if (absolute)
            queued.mousePosition = {counts[0], counts[1]};
        else
            queued.mouseMotion = {counts[0], counts[1]};
        queueEvent(queued);
        return true;
    }
    case XI_RawButtonPress:
    case XI_RawButtonRelease: {
        const bool pressed = event.xcookie.evtype == XI_RawButtonPress;
        Event queued{};
        if (raw->detail == 4 || raw->detail == 5) {
            // A wheel notch is a press and a release at once: the press counts.
            if (!pressed)
                return true;
            queued.kind = EventKindMouseWheel;
            queued.mouseWheel = {raw->detail == 4 ? kWheelNotch : -kWheelNotch};
        } else {
            const std::int32_t button =
                raw->detail >= 0 && raw->detail < 10 ? kButtonOfXButton[raw->detail] : 0;
            if (button == 0)
                return true;
            queued.kind = EventKindMouseButton;
            queued.mouseButton = {button, pressed};
        }
        queueEvent(queued);
        return true;
    }
    default:
        return true;
    }
}

void Window::updateCursorClip(bool enable) {
    if (!enable) {
        if (cursorConfined)
            XUngrabPointer(display, CurrentTime);
        cursorConfined = false;
        return;
    }
    const int result =
        XGrabPointer(display, handle, True, 0, GrabModeAsync, GrabModeAsync, handle, None, CurrentTime);
    if (result != GrabSuccess)
        throw std::runtime_error("failed to clip cursor");
    cursorConfined = true;
}

} // namespace verdanium
