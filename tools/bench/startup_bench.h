#pragma once

namespace verdanium {

// The time from starting the program (./verdanium in the working directory, on the display of DISPLAY) to
// its first frame, which is when the frame loop first writes the frame time into the window title ("[").
// The program is closed through its window after each run, as a user would close it. Prints the median of a
// few runs as "figure startup_to_first_frame", split into "startup_before_first_frame" (process start,
// window, renderer and scene) and "startup_first_frame" (the first frame's own time as its title shows it:
// rendering, events and steps, truncated to the millisecond); prints nothing and returns false when no
// display can be opened or the program cannot be started.
bool benchStartup();

} // namespace verdanium
