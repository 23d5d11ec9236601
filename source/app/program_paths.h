#pragma once

#include <ctime>
#include <string>

namespace verdanium {

// a, then "/", then b: no separator is merged, so joinPath("../", "data/") reads
// "..//data/".
std::string joinPath(const std::string& a, const std::string& b);

// The start-up record of paths and the start time, published through pointer
// globals for as long as main's frame holds it. Nothing reads them afterwards:
// every model, material and background path elsewhere is a literal of its own.
// They are kept as written state only.
extern const std::string* gCurrentPath;
extern const std::string* gExecutablePath;
extern const std::string* gParentPath;
extern const std::string* gDataPath;
extern const std::string* gEffectPath;
extern const std::time_t* gStartTime;

// Builds the five path strings and publishes them; the destructor withdraws them.
class ProgramPaths {
public:
    ProgramPaths();
    ~ProgramPaths();
    ProgramPaths(const ProgramPaths&) = delete;
    ProgramPaths& operator=(const ProgramPaths&) = delete;

    const std::string currentPath{"./"};
    const std::string executablePath{"./"};
    const std::string parentPath{"../"};
    const std::string dataPath;
    const std::string effectPath;
};

// Takes the start time and publishes it; throws std::runtime_error with "failed
// to create a timestamp" when the C library has no time to give.
class StartTimestamp {
public:
    StartTimestamp();
    ~StartTimestamp();
    StartTimestamp(const StartTimestamp&) = delete;
    StartTimestamp& operator=(const StartTimestamp&) = delete;

    const std::time_t value;
};

} // namespace verdanium
