#include "support/x_test_support.h"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>

namespace verdanium::testing {

bool haveXDisplay() {
    // The connection stays open: Xvfb resets itself when its last client leaves,
    // and refuses connections while it does.
    static Display* const display = std::getenv("DISPLAY") ? XOpenDisplay(nullptr) : nullptr;
    return display != nullptr;
}

XInputLock::XInputLock() {
    std::string display = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
    for (char& c : display)
        if (c == '/' || c == ':')
            c = '_';
    const std::string path = "/tmp/verdanium-x-input" + display + ".lock";
    file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file >= 0)
        flock(file, LOCK_EX);
}

XInputLock::~XInputLock() {
    if (file >= 0)
        close(file); // drops the lock
}

bool xdotool(const std::string& arguments, const std::string& display) {
    const std::string environment = display.empty() ? "" : "DISPLAY=" + display + " ";
    return std::system((environment + "xdotool " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

void sendCloseRequest(Display* display, unsigned long window) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = long(XInternAtom(display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display, window, False, NoEventMask, &event);
    XSync(display, False);
}

std::string windowTitle(Display* display, unsigned long window) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char* value = nullptr;
    std::string title;
    if (XGetWindowProperty(display, window, XInternAtom(display, "_NET_WM_NAME", False), 0, 1024, False,
                           XInternAtom(display, "UTF8_STRING", False), &type, &format, &count, &remaining,
                           &value) == Success &&
        value) {
        title.assign(reinterpret_cast<char*>(value), count);
        XFree(value);
    }
    return title;
}

} // namespace verdanium::testing
