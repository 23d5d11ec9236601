#pragma once

#include "support/test_files.h"

#include <string>

namespace verdanium {

// What a tool did when run as a user runs it, from the program's folder.
struct ToolRun {
    int status = -1;
    std::string output; // standard output
    std::string errors; // standard error
};

// Runs `commandLine` through the shell (the tools sit in the current folder), keeping its two streams in
// files below `folder`. A run still going after `seconds` is stopped, with status 124, so that a tool that
// starts work it should have refused fails the test instead of hanging it.
ToolRun runTool(const std::string& commandLine, const std::filesystem::path& folder, int seconds = 300);

} // namespace verdanium
