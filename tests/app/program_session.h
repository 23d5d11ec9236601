#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct _XDisplay;

namespace verdanium::testing {

// A private Xvfb server for one test, so that tests running side by side never
// see each other's windows or steal each other's focus. Without the Xvfb
// program, name() is the environment's DISPLAY, or empty when there is none.
class VirtualDisplay {
public:
    VirtualDisplay();
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    const std::string& name() const { return displayName; } // ":42"

private:
    int serverPid = -1;
    std::string displayName;
};

// The real program, started from its own folder on a display, with its standard
// output and error collected in files. The destructor kills it if it still runs.
class ProgramSession {
public:
    explicit ProgramSession(const std::string& displayName);
    ~ProgramSession();
    ProgramSession(const ProgramSession&) = delete;
    ProgramSession& operator=(const ProgramSession&) = delete;

    // Waits for the program's shown top-level window; false if none appears in time.
    bool waitForWindow(std::chrono::milliseconds timeout);
    std::string title();
    // Polls the title until it matches the regular expression.
    bool waitForTitle(const std::string& pattern, std::chrono::milliseconds timeout);
    void sendCloseRequest();
    // The window's pixels as 8-bit RGB triples, row by row; empty when unreadable.
    std::vector<unsigned char> screenshot();
    // Runs xdotool with the arguments on the program's display; true on success.
    bool xdotool(const std::string& arguments);
    // The exit status once the program has ended; nullopt on timeout or a signal.
    std::optional<int> waitForExit(std::chrono::milliseconds timeout);
    bool running();
    std::string standardOutput() const;
    std::string standardError() const;

    unsigned long window = 0; // the program's window once waitForWindow has found it

private:
    std::string displayName;
    std::string folder; // holds the files of the two streams
    _XDisplay* display = nullptr;
    int pid = -1;
    std::optional<int> exitStatus;
};

} // namespace verdanium::testing
