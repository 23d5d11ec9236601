#pragma once

#include <cstdint>

namespace verdanium {

// Program-wide flags shared by the frame loop, the window and the key commands.
// All of them live on the main thread only: the render workers never read them,
// so they are plain variables without atomics or locks.

// Set by the window when the user asks it to close; the frame loop ends once it
// sees the flag at the head of a frame, so the frame in flight still finishes.
extern bool gQuitRequested;

// True while the flight is stopped: toggled by the "pause" key and set by the
// scene itself once the flight has run for 20 seconds.
extern bool gPaused;

// Index into gSettingNames of the setting that a digit key changes; always one of
// 0 .. kSettingCount - 1. Starts at 0, "Renderer".
extern std::int32_t gCurrentSetting;

// The nine runtime settings, by the index that gCurrentSetting takes. The window
// title shows the name of the current one.
inline constexpr std::int32_t kSettingCount = 9;
extern const char* const gSettingNames[kSettingCount];

} // namespace verdanium
