#include "app/program_session.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cerrno>
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

// The environment of this process with DISPLAY replaced.
std::vector<std::string> environmentWithDisplay(const std::string& displayName) {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry)
        if (std::strncmp(*entry, "DISPLAY=", 8) != 0)
            variables.emplace_back(*entry);
    variables.push_back("DISPLAY=" + displayName);
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& text : strings)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// Spawns program (looked up on PATH unless it has a slash) with the arguments,
// the environment and the file actions given; returns the pid or -1.
int spawn(std::vector<std::string> arguments, std::vector<std::string> environment,
          const posix_spawn_file_actions_t* actions) {
    auto argv = pointers(arguments);
    auto envp = pointers(environment);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], actions, nullptr, argv.data(), envp.data()) != 0)
        return -1;
    return pid;
}

std::optional<int> exitStatusOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return std::nullopt;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool executableOnPath(const char* name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    std::string folder;
    while (std::getline(folders, folder, ':'))
        if (!folder.empty() && access((folder + "/" + name).c_str(), X_OK) == 0)
            return true;
    return false;
}

} // namespace

std::unique_ptr<VirtualDisplay> VirtualDisplay::start(std::string& whyNot) {
    if (!executableOnPath("Xvfb")) {
        whyNot = "Xvfb is not installed";
        return nullptr;
    }
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        whyNot = "pipe failed";
        return nullptr;
    }
    // Xvfb picks a free display number itself and writes it to descriptor 3.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 3);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);
    const int pid =
        spawn({"Xvfb", "-displayfd", "3", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset"},
              environment, &actions);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    if (pid < 0) {
        close(pipeEnds[0]);
        whyNot = "Xvfb could not be started";
        return nullptr;
    }
    std::string number;
    char c = 0;
    while (read(pipeEnds[0], &c, 1) == 1 && c != '\n')
        number += c;
    close(pipeEnds[0]);
    if (number.empty()) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        whyNot = "Xvfb did not report its display";
        return nullptr;
    }
    return std::unique_ptr<VirtualDisplay>(new VirtualDisplay(pid, ":" + number));
}

VirtualDisplay::~VirtualDisplay() {
    kill(serverPid, SIGTERM);
    waitpid(serverPid, nullptr, 0);
}

DisplayChoice chooseDisplay() {
    DisplayChoice choice;
    choice.server = VirtualDisplay::start(choice.whyNone);
    if (choice.server) {
        choice.name = choice.server->name();
    } else if (const char* display = std::getenv("DISPLAY"); display && *display) {
        choice.name = display;
    } else {
        choice.whyNone += ", and DISPLAY is not set";
    }
    return choice;
}

ProgramSession::ProgramSession(std::string displayName_) : displayName(std::move(displayName_)) {
    char folder[] = "/tmp/verdanium-session-XXXXXX";
    if (!mkdtemp(folder))
        throw std::runtime_error("mkdtemp failed");
    outputPath = std::string(folder) + "/stdout";
    errorPath = std::string(folder) + "/stderr";

    // The program finds its data three levels up, so it starts in its own folder.
    const std::string binaryFolder = std::string(VERDANIUM_BINARY_DIR) + "/bin/release";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, binaryFolder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid = spawn({binaryFolder + "/verdanium"}, environmentWithDisplay(displayName), &actions);
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
    std::filesystem::remove_all(std::filesystem::path(outputPath).parent_path(), ignored);
}

unsigned long ProgramSession::waitForWindow(std::chrono::milliseconds timeout) {
    if (!display)
        return 0;
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline && running()) {
        // Without a window manager the program's window is a child of the root;
        // its bootstrap window comes and goes first, so take a shown one.
        Window root = 0, parent = 0;
        Window* children = nullptr;
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
            return window;
        std::this_thread::sleep_for(50ms);
    }
    return 0;
}

std::string ProgramSession::title() {
    if (!display || !window)
        return {};
    // The UTF-8 title first, as window managers read it; the old name otherwise.
    const Atom netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    const Atom utf8String = XInternAtom(display, "UTF8_STRING", False);
    Atom type = 0;
    int format = 0;
    unsigned long items = 0, remaining = 0;
    unsigned char* data = nullptr;
    std::string text;
    if (XGetWindowProperty(display, window, netWmName, 0, 1024, False, utf8String, &type, &format, &items,
                           &remaining, &data) == Success &&
        data) {
        text.assign(reinterpret_cast<char*>(data), items);
        XFree(data);
        return text;
    }
    char* name = nullptr;
    if (XFetchName(display, window, &name) && name) {
        text = name;
        XFree(name);
    }
    return text;
}

std::optional<std::string> ProgramSession::waitForTitle(const std::string& pattern,
                                                        std::chrono::milliseconds timeout) {
    const std::regex expression(pattern);
    const auto deadline = Clock::now() + timeout;
    std::string last;
    while (Clock::now() < deadline && running()) {
        last = title();
        if (std::regex_match(last, expression))
            return last;
        std::this_thread::sleep_for(50ms);
    }
    return std::nullopt;
}

void ProgramSession::sendCloseRequest() {
    if (!display || !window)
        return;
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display, window, False, NoEventMask, &event);
    XFlush(display);
}

ProgramSession::Picture ProgramSession::screenshot() {
    Picture picture;
    if (!display || !window)
        return picture;
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(display, window, &attributes))
        return picture;
    XImage* image = XGetImage(display, window, 0, 0, attributes.width, attributes.height, AllPlanes, ZPixmap);
    if (!image)
        return picture;
    picture.width = attributes.width;
    picture.height = attributes.height;
    picture.rgb.reserve(static_cast<std::size_t>(picture.width) * picture.height * 3);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            picture.rgb.push_back(static_cast<unsigned char>((pixel & image->red_mask) >> 16));
            picture.rgb.push_back(static_cast<unsigned char>((pixel & image->green_mask) >> 8));
            picture.rgb.push_back(static_cast<unsigned char>(pixel & image->blue_mask));
        }
    }
    XDestroyImage(image);
    return picture;
}

int ProgramSession::xdotool(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"xdotool"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    const int child = spawn(command, environmentWithDisplay(displayName), &actions);
    posix_spawn_file_actions_destroy(&actions);
    if (child < 0)
        return -1;
    int status = 0;
    waitpid(child, &status, 0);
    return exitStatusOf(status).value_or(-1);
}

bool ProgramSession::running() {
    if (pid < 0 || exitStatus)
        return false;
    int status = 0;
    const pid_t result = waitpid(pid, &status, WNOHANG);
    if (result == 0)
        return true;
    exitStatus = result == pid ? exitStatusOf(status).value_or(INT_MIN) : INT_MIN;
    return false;
}

std::optional<int> ProgramSession::waitForExit(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (running() && Clock::now() < deadline)
        std::this_thread::sleep_for(20ms);
    if (running() || !exitStatus || *exitStatus == INT_MIN)
        return std::nullopt;
    return exitStatus;
}

std::string ProgramSession::standardOutput() const {
    return readFile(outputPath);
}

std::string ProgramSession::standardError() const {
    return readFile(errorPath);
}

} // namespace verdanium::testing
