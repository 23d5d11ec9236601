#include "foundation/fatal_error.h"

#include "foundation/console.h"
#include "foundation/foundation_lock.h"
#include "foundation/message_box.h"
#include "foundation/thread_registry.h"
#include "foundation/tracked_memory.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace verdanium {

bool gFatalInProgress = false;
bool gFatalMessageShown = false;

namespace {

// A tracer (gdb, strace) shows as a non-zero TracerPid in /proc/self/status.
// Read with plain system calls: the heap may be what failed.
bool isDebuggerPresent() {
    int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    char text[4096];
    ssize_t length = read(file, text, sizeof(text) - 1);
    close(file);
    if (length <= 0)
        return false;
    text[length] = '\0';
    const char* field = std::strstr(text, "TracerPid:");
    return field != nullptr && std::atoi(field + std::strlen("TracerPid:")) != 0;
}

// Whether this call is the one reporter: the test-and-set of gFatalInProgress.
bool claimFatalReport() {
    FoundationLockScope lock;
    bool alreadyRunning = gFatalInProgress;
    gFatalInProgress = true;
    return !alreadyRunning;
}

} // namespace

void fatalError(const char* format, ...) {
    if (!claimFatalReport())
        return;

    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measuring;
    va_copy(measuring, arguments);
    int length = std::vsnprintf(nullptr, 0, format, measuring);
    va_end(measuring);
    // The buffer comes from the tracked heap like everything else. If that
    // fails too, the nested fatalError returns at once and the box is empty.
    char* text =
        length >= 0 ? static_cast<char*>(trackedAlloc(static_cast<std::size_t>(length) + 1)) : nullptr;
    if (text != nullptr)
        std::vsnprintf(text, static_cast<std::size_t>(length) + 1, format, arguments);
    va_end(arguments);
    const char* message = text != nullptr ? text : "";

    consolePrintf("\n%s\n", message);
    suspendOtherThreads();
    gFatalMessageShown = true;
    showMessageBox(message, "Fatal error");
    if (isDebuggerPresent())
        std::raise(SIGTRAP);
    std::_Exit(1);
}

} // namespace verdanium
