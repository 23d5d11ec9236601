#include "startup_bench.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace verdanium {
namespace {

constexpr int kRuns = 5;
constexpr double kGiveUpSeconds = 20.0;

using Clock = std::chrono::steady_clock;

bool titleShowsFrame(Display* display, Window window) {
    char* name = nullptr;
    if (!XFetchName(display, window, &name) || name == nullptr)
        return false;
    const bool frame = name[0] == '[';
    XFree(name);
    return frame;
}

// Watches the windows made on the root after the start for a title that shows a frame time; the window,
// or 0 when the program ended or the time ran out first.
Window waitForFirstFrame(Display* display, pid_t child) {
    const Window root = DefaultRootWindow(display);
    const auto deadline = Clock::now() + std::chrono::duration<double>(kGiveUpSeconds);
    pollfd connection{ConnectionNumber(display), POLLIN, 0};
    while (Clock::now() < deadline) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == CreateNotify && event.xcreatewindow.parent == root) {
                XSelectInput(display, event.xcreatewindow.window, PropertyChangeMask);
                // The title may have been written before the selection took effect.
                if (titleShowsFrame(display, event.xcreatewindow.window))
                    return event.xcreatewindow.window;
            } else if (event.type == PropertyNotify && event.xproperty.atom == XA_WM_NAME &&
                       titleShowsFrame(display, event.xproperty.window)) {
                return event.xproperty.window;
            }
        }
        if (waitpid(child, nullptr, WNOHANG) == child)
            return 0;
        poll(&connection, 1, 10);
    }
    return 0;
}

// Asks the program to close as the window manager would, then waits for it; a program that does not go
// within a few seconds is killed.
void closeProgram(Display* display, Window window, pid_t child) {
    if (window != 0) {
        XEvent message{};
        message.xclient.type = ClientMessage;
        message.xclient.window = window;
        message.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
        message.xclient.format = 32;
        message.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
        XSendEvent(display, window, False, NoEventMask, &message);
        XFlush(display);
    }
    for (int i = 0; i < 500; ++i) {
        if (waitpid(child, nullptr, WNOHANG) == child)
            return;
        usleep(10000);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// A window seen in passing may be gone by the time its title is asked for; that is no error here.
int ignoreXError(Display*, XErrorEvent*) {
    return 0;
}

} // namespace

bool benchStartup() {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
        return false;
    XErrorHandler previousHandler = XSetErrorHandler(ignoreXError);
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    XSync(display, False);
    std::vector<double> seconds;
    for (int run = 0; run < kRuns; ++run) {
        const auto start = Clock::now();
        const pid_t child = fork();
        if (child == 0) {
            // The program's log lines would interleave with the figures.
            std::freopen("/dev/null", "w", stdout);
            execl("./verdanium", "verdanium", static_cast<char*>(nullptr));
            _exit(127);
        }
        if (child < 0)
            break;
        const Window window = waitForFirstFrame(display, child);
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        closeProgram(display, window, child);
        if (window == 0)
            break;
        seconds.push_back(elapsed);
    }
    XCloseDisplay(display);
    XSetErrorHandler(previousHandler);
    if (seconds.size() != static_cast<std::size_t>(kRuns))
        return false;
    std::sort(seconds.begin(), seconds.end());
    std::printf("figure startup_to_first_frame %.3f s\n", seconds[seconds.size() / 2]);
    std::fflush(stdout);
    return true;
}

} // namespace verdanium
