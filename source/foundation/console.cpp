#include "foundation/console.h"

#include "foundation/foundation_lock.h"
#include "foundation/tracked_memory.h"

#include <cstdarg>

namespace verdanium {

LogStreams gLogStreams;

LogStreams::~LogStreams() {
    trackedFree(streams);
    streams = nullptr;
    count = 0;
}

void consolePrintf(const char* format, ...) {
    FoundationLockScope lock;
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list forStdout;
    va_copy(forStdout, arguments);
    std::vprintf(format, forStdout);
    va_end(forStdout);
    std::fflush(stdout);
    for (std::size_t i = 0; i < gLogStreams.count; ++i) {
        std::va_list forStream;
        va_copy(forStream, arguments);
        std::vfprintf(gLogStreams.streams[i], format, forStream);
        va_end(forStream);
        std::fflush(gLogStreams.streams[i]);
    }
    va_end(arguments);
}

} // namespace verdanium
