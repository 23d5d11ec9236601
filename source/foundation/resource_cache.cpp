#include "foundation/resource_cache.h"

namespace verdanium {

// Defined together in one unit so that their construction order is fixed:
// Geometry, GlslProgram, Image; destruction runs the other way.
ResourceCache<Geometry> gGeometryCache;
ResourceCache<GlslProgram> gGlslProgramCache;
ResourceCache<Image> gImageCache;

} // namespace verdanium
