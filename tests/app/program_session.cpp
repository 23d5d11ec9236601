#include "app/program_session.h"

#include "support/x_test_support.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <regex>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace verdanium::testing {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Windows come and go under the test's feet (the program's bootstrap window, the
// program ending); a request about a vanished window must not end the test.
int ignoreXErrors(Display*, XErrorEvent*) {
    return 0;
}

// Spawns the program named by arguments[0] (looked up on PATH unless it has a
// slash) with the file actions given and, unless empty, DISPLAY replaced;
// returns the pid or -1.
int spawn(std::vector<std::string> arguments, const posix_spawn_file_actions_t* actions,
          const std::string& displayName) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry)
        if (displayName.empty() || std::strncmp(*entry, "DISPLAY=", 8) != 0)
            environment.emplace_back(*entry);
    if (!displayName.empty())
        environment.push_back("DISPLAY=" + displayName);
    const auto pointers = [](std::vector<std::string>& strings) {
        std::vector<char*> result;
        for (std::string& text : strings)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    };
    auto argv = pointers(arguments);
    auto envp = pointers(environment);
    pid_t pid = -1;
    return posix_spawnp(&pid, argv[0], actions, nullptr, argv.data(), envp.data()) == 0 ? pid : -1;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

VirtualDisplay::VirtualDisplay() {
    // Xvfb picks a free display number itself and writes it to descriptor 3.
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) == 0) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 3);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        serverPid =
            spawn({"Xvfb", "-displayfd", "3", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset"},
                  &actions, "");
        posix_spawn_file_actions_destroy(&actions);
        close(pipeEnds[1]);
        char c = 0;
        while (serverPid >= 0 && read(pipeEnds[0], &c, 1) == 1 && c != '\n')
            displayName += c;
        close(pipeEnds[0]);
    }
    if (!displayName.empty()) {
        displayName.insert(0, ":");
        return;
    }
    if (const char* display = std::getenv("DISPLAY"))
        displayName = display;
}

VirtualDisplay::~VirtualDisplay() {
    if (serverPid >= 0) {
        kill(serverPid, SIGTERM);
        waitpid(serverPid, nullptr, 0);
    }
}

ProgramSession::ProgramSession(const std::string& displayName_) : displayName(displayName_) {
    char folderTemplate[] = "/tmp/verdanium-session-XXXXXX";
    if (!mkdtemp(folderTemplate))
        throw std::runtime_error("mkdtemp failed");
    folder = folderTemplate;

    // The program finds its data three levels up, so it starts in its own folder.
    const std::string binaryFolder = VERDANIUM_PROGRAM_DIR;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, binaryFolder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (folder + "/stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, (folder + "/stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    pid = spawn({binaryFolder + "/verdanium"}, &actions, displayName);
    posix_spawn_file_actions_destroy(&actions);
    if (pid < 0)
        throw std::runtime_error("could not start " + binaryFolder + "/verdanium");
    XSetErrorHandler(ignoreXErrors);
    display = XOpenDisplay(displayName.c_str());
}

ProgramSession::~ProgramSession() {
    if (running()) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    if (display)
        XCloseDisplay(display);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

bool ProgramSession::waitForWindow(std::chrono::milliseconds timeout) {
    for (const auto deadline = Clock::now() + timeout; display && Clock::now() < deadline && running();) {
        // Without a window manager the program's window is a child of the root;
        // its bootstrap window comes and goes first, so take a shown one.
        ::Window root = 0, parent = 0, *children = nullptr;
        unsigned int count = 0;
        if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
            for (unsigned int i = 0; i < count && !window; ++i) {
                XWindowAttributes attributes{};
                if (XGetWindowAttributes(display, children[i], &attributes) &&
                    attributes.map_state == IsViewable)
                    window = children[i];
            }
            if (children)
                XFree(children);
        }
        if (window)
            return true;
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

std::string ProgramSession::title() {
    return display && window ? windowTitle(display, window) : std::string();
}

bool ProgramSession::waitForTitle(const std::string& pattern, std::chrono::milliseconds timeout) {
    const std::regex expression(pattern);
    for (const auto deadline = Clock::now() + timeout; Clock::now() < deadline && running();) {
        if (std::regex_match(title(), expression))
            return true;
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

void ProgramSession::sendCloseRequest() {
    if (display && window)
        testing::sendCloseRequest(display, window);
}

std::vector<unsigned char> ProgramSession::screenshot() {
    std::vector<unsigned char> rgb;
    XWindowAttributes attributes{};
    if (!display || !window || !XGetWindowAttributes(display, window, &attributes))
        return rgb;
    XImage* image = XGetImage(display, window, 0, 0, attributes.width, attributes.height, AllPlanes, ZPixmap);
    if (!image)
        return rgb;
    for (int y = 0; y < attributes.height; ++y) {
        for (int x = 0; x < attributes.width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            rgb.push_back(static_cast<unsigned char>((pixel & image->red_mask) >> 16));
            rgb.push_back(static_cast<unsigned char>((pixel & image->green_mask) >> 8));
            rgb.push_back(static_cast<unsigned char>(pixel & image->blue_mask));
        }
    }
    XDestroyImage(image);
    return rgb;
}

bool ProgramSession::xdotool(const std::string& arguments) {
    return testing::xdotool(arguments, displayName);
}

bool ProgramSession::running() {
    if (pid < 0 || exitStatus)
        return false;
    int status = 0;
    const pid_t result = waitpid(pid, &status, WNOHANG);
    if (result == 0)
        return true;
    exitStatus = result == pid && WIFEXITED(status) ? WEXITSTATUS(status) : INT_MIN;
    return false;
}

std::optional<int> ProgramSession::waitForExit(std::chrono::milliseconds timeout) {
    for (const auto deadline = Clock::now() + timeout; running() && Clock::now() < deadline;)
        std::this_thread::sleep_for(20ms);
    if (running() || !exitStatus || *exitStatus == INT_MIN)
        return std::nullopt;
    return exitStatus;
}

std::string ProgramSession::standardOutput() const {
    return readFile(folder + "/stdout");
}

std::string ProgramSession::standardError() const {
    return readFile(folder + "/stderr");
}

} // namespace verdanium::testing
