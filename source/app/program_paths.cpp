#include "app/program_paths.h"

#include <stdexcept>

namespace verdanium {

const std::string* gCurrentPath = nullptr;
const std::string* gExecutablePath = nullptr;
const std::string* gParentPath = nullptr;
const std::string* gDataPath = nullptr;
const std::string* gEffectPath = nullptr;
const std::time_t* gStartTime = nullptr;

std::string joinPath(const std::string& a, const std::string& b) {
    return a + "/" + b;
}

ProgramPaths::ProgramPaths()
    : dataPath(joinPath(parentPath, "data/")), effectPath(joinPath(parentPath, "effect/")) {
    gCurrentPath = &currentPath;
    gExecutablePath = &executablePath;
    gParentPath = &parentPath;
    gDataPath = &dataPath;
    gEffectPath = &effectPath;
}

ProgramPaths::~ProgramPaths() {
    gCurrentPath = nullptr;
    gExecutablePath = nullptr;
    gParentPath = nullptr;
    gDataPath = nullptr;
    gEffectPath = nullptr;
}

namespace {

std::time_t currentTime() {
    const std::time_t now = std::time(nullptr);
    if (now == static_cast<std::time_t>(-1))
        throw std::runtime_error("failed to create a timestamp");
    return now;
}

} // namespace

StartTimestamp::StartTimestamp() : value(currentTime()) {
    gStartTime = &value;
}

StartTimestamp::~StartTimestamp() {
    gStartTime = nullptr;
}

} // namespace verdanium
