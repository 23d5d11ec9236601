#pragma once

namespace verdanium {

class HeadlessSession;

// Where the time of a flying hybrid frame goes: the steps of the hybrid frame run one by one, each closed by
// glFinish so that the GL work it queued is counted with it, after a world step that changes the scene (the
// steps are not timed). Prints the median of each step over a few frames as "figure hybrid_flying_<step>"
// lines, and their sum; and the processor time of the raster step, of the whole process and of the calling
// thread alone (on a software rasteriser the calling thread transforms and sets up every corner, the driver's
// threads shade). The GL context of the session must be current; the renderer must have drawn a hybrid
// frame already, so that its targets exist. Leaves the flight paused.
void benchHybridBreakdown(HeadlessSession& session);

} // namespace verdanium
