#include "startup_bench.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace verdanium {
namespace {

constexpr int kRuns = 5;
constexpr double kGiveUpSeconds = 20.0;

using Clock = std::chrono::steady_clock;

// Whether the window's title shows a frame time ("[41 ms] Renderer"); if so, that time in seconds goes to
// frameSeconds (0 where the digits can't be read).
bool titleShowsFrame(Display* display, Window window, double& frameSeconds) {
    char* name = nullptr;
    if (!XFetchName(display, window, &name) || name == nullptr)
        return false;
    const bool frame = name[0] == '[';
    if (frame)
        frameSeconds = std::atoi(name + 1) / 1000.0;
    XFree(name);
    return frame;
}

// Watches the windows made on the root after the start for a title that shows a frame time; the window,
// or 0 when the program ended or the time ran out first. frameSeconds gets the time the title shows.
Window waitForFirstFrame(Display* display, pid_t child, double& frameSeconds) {
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
                if (titleShowsFrame(display, event.xcreatewindow.window, frameSeconds))
                    return event.xcreatewindow.window;
            } else if (event.type == PropertyNotify && event.xproperty.atom == XA_WM_NAME &&
                       titleShowsFrame(display, event.xproperty.window, frameSeconds)) {
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
    // Per run: the time to the first frame's title, and the first frame's own time as the title shows it.
    std::vector<std::pair<double, double>> runs;
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
        double frameSeconds = 0.0;
        const Window window = waitForFirstFrame(display, child, frameSeconds);
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        closeProgram(display, window, child);
        if (window == 0)
            break;
        runs.emplace_back(elapsed, frameSeconds);
    }
    XCloseDisplay(display);
    XSetErrorHandler(previousHandler);
    if (runs.size() != static_cast<std::size_t>(kRuns))
        return false;
    // The split comes from the median run itself, so that its two parts add up to its total.
    std::sort(runs.begin(), runs.end());
    const auto [total, firstFrame] = runs[runs.size() / 2];
    std::printf("figure startup_to_first_frame %.3f s\n", total);
    std::printf("figure startup_before_first_frame %.3f s\n", total - firstFrame);
    std::printf("figure startup_first_frame %.3f s\n", firstFrame);
    std::fflush(stdout);
    return true;
}

} // namespace verdanium
