#pragma once

#include <cstdint>

namespace verdanium {

// Which structure answers the mesh queries: 1 for Embree, 0 for our own hierarchy. Read at every query,
// without a lock: only the key handler writes it, on the main thread, while no render job runs. Both
// structures are always built, so switching never rebuilds anything.
extern std::int32_t gIntersectorMode;

} // namespace verdanium
