#include "tool_run.h"

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

namespace verdanium {

namespace {

std::string readWhole(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

ToolRun runTool(const std::string& commandLine, const std::filesystem::path& folder, int seconds) {
    const std::filesystem::path out = folder / "stdout.txt";
    const std::filesystem::path err = folder / "stderr.txt";
    const int raw = std::system(("timeout " + std::to_string(seconds) + " " + commandLine + " >" +
                                 out.string() + " 2>" + err.string())
                                    .c_str());
    ToolRun run;
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.output = readWhole(out);
    run.errors = readWhole(err);
    return run;
}

} // namespace verdanium
