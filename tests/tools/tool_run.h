#pragma once

#include "support/test_files.h"

#include <sys/wait.h>

#include <cstdlib>

namespace verdanium {

// What a tool did: its exit status and its two streams.
struct ToolRun {
    int status = -1;
    std::string output;
    std::string errors;
};

// Runs `commandLine` through the shell from the tools' folder, keeping its streams in files below `folder`.
// A run still going after `seconds` is stopped (status 124), so that a tool that starts work it should have
// refused fails the test instead of hanging it.
inline ToolRun runTool(const std::string& commandLine, const std::filesystem::path& folder,
                       int seconds = 300) {
    const std::filesystem::path out = folder / "stdout.txt", err = folder / "stderr.txt";
    const int raw = std::system(("timeout " + std::to_string(seconds) + " " + commandLine + " >" +
                                 out.string() + " 2>" + err.string())
                                    .c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(out), readFile(err)};
}

} // namespace verdanium
