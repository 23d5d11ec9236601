#pragma once

#include <cstddef>
#include <cstdio>

namespace verdanium {

// Extra streams that receive every console line besides standard output. No
// part of the program registers one, so the list stays empty; the writer still
// honours it.
struct LogStreams {
    std::size_t count = 0;
    std::FILE** streams = nullptr;

    ~LogStreams();
};

extern LogStreams gLogStreams;

// printf-style write to standard output, then the same format and arguments to
// each of gLogStreams, all under gFoundationLock. Standard output is flushed,
// because the fatal path ends the process without running stdio's clean-up.
[[gnu::format(printf, 1, 2)]] void consolePrintf(const char* format, ...);

} // namespace verdanium
