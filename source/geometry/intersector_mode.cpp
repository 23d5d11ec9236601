#include "geometry/intersector_mode.h"

namespace verdanium {

std::int32_t gIntersectorMode = 1;

} // namespace verdanium
