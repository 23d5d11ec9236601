#include "app/program_flags.h"

namespace verdanium {

bool gQuitRequested = false;
bool gPaused = false;
std::int32_t gCurrentSetting = 0;

const char* const gSettingNames[kSettingCount] = {
    "Renderer",    "ObjectCount",          "Tesselation", "LeafSize",      "CpuThreads",
    "Intersector", "SecondaryBounceCount", "MaxDepth",    "Bidirectional",
};

} // namespace verdanium
