#include "x_test_support.h"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace verdanium::testing {

bool haveXDisplay() {
    // The connection stays open: Xvfb resets itself when its last client leaves,
    // and refuses connections while it does.
    static Display* const display = std::getenv("DISPLAY") ? XOpenDisplay(nullptr) : nullptr;
    return display != nullptr;
}

WindowSettings programWindowSettings() {
    WindowSettings settings;
    settings.width = 640;
    settings.height = 480;
    settings.redBits = 8;
    settings.greenBits = 8;
    settings.blueBits = 8;
    settings.alphaBits = 8;
    settings.depthBits = 24;
    settings.stencilBits = 8;
    return settings;
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

bool xdotool(const std::string& arguments) {
    const std::string command = "xdotool " + arguments + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

bool pumpUntil(Window& window, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        XSync(window.display, False);
        window.dispatchMessages();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void pumpBriefly(Window& window) {
    for (int i = 0; i < 50; ++i) {
        XSync(window.display, False);
        window.dispatchMessages();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void sendCloseRequest(unsigned long window) {
    Display* display = XOpenDisplay(nullptr);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = long(XInternAtom(display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display, window, False, NoEventMask, &event);
    XSync(display, False);
    XCloseDisplay(display);
}

std::vector<Event> queuedEvents(EventKind kind) {
    std::vector<Event> events;
    for (const Event& event : gEventQueue)
        if (event.kind == kind)
            events.push_back(event);
    return events;
}

int topLevelWindowCount() {
    Display* display = XOpenDisplay(nullptr);
    ::Window root = 0, parent = 0;
    ::Window* children = nullptr;
    unsigned count = 0;
    XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count);
    if (children)
        XFree(children);
    XCloseDisplay(display);
    return int(count);
}

} // namespace verdanium::testing
