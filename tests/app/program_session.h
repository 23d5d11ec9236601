#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct _XDisplay;

namespace verdanium::testing {

// A private virtual X display for one test, so that tests running side by side
// never see each other's windows or steal each other's focus. Without the Xvfb
// program there is none, and the tests fall back on $DISPLAY.
class VirtualDisplay {
public:
    // A new Xvfb server, or null (with the reason in whyNot) when none can be started.
    static std::unique_ptr<VirtualDisplay> start(std::string& whyNot);
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    const std::string& name() const { return displayName; } // ":42"

private:
    VirtualDisplay(int pid, std::string name) : serverPid(pid), displayName(std::move(name)) {}
    int serverPid;
    std::string displayName;
};

// The real program, started from its own folder on a given display, with its
// standard output and error collected in files. The destructor kills it if it is
// still running.
class ProgramSession {
public:
    explicit ProgramSession(std::string displayName);
    ~ProgramSession();
    ProgramSession(const ProgramSession&) = delete;
    ProgramSession& operator=(const ProgramSession&) = delete;

    // Waits for the program's shown top-level window; 0 if none appears in time.
    unsigned long waitForWindow(std::chrono::milliseconds timeout);
    // The window's title as it is now ("" when it has none).
    std::string title();
    // Polls the title until it matches the regular expression; returns the last title seen.
    std::optional<std::string> waitForTitle(const std::string& pattern, std::chrono::milliseconds timeout);
    // Asks the window to close the way a window manager does: a WM_PROTOCOLS
    // client message carrying WM_DELETE_WINDOW.
    void sendCloseRequest();
    // The window's client area as 8-bit RGB triples, row by row from the top; empty
    // when it cannot be read.
    struct Picture {
        int width = 0;
        int height = 0;
        std::vector<unsigned char> rgb;
        bool operator==(const Picture&) const = default;
    };
    Picture screenshot();
    // Runs xdotool with the given arguments on the program's display; returns its status.
    int xdotool(const std::vector<std::string>& arguments);
    // Waits for the program to end; its exit status, or nullopt on timeout or a signal.
    std::optional<int> waitForExit(std::chrono::milliseconds timeout);
    bool running();

    // Everything written so far.
    std::string standardOutput() const;
    std::string standardError() const;

private:
    std::string displayName;
    std::string outputPath;
    std::string errorPath;
    _XDisplay* display = nullptr;
    unsigned long window = 0;
    int pid = -1;
    std::optional<int> exitStatus;
};

// Where the program's display comes from: a private Xvfb when possible, else the
// environment's DISPLAY. Null when there is neither (the test then skips).
struct DisplayChoice {
    std::unique_ptr<VirtualDisplay> server;
    std::string name;
    std::string whyNone;
};
DisplayChoice chooseDisplay();

} // namespace verdanium::testing
