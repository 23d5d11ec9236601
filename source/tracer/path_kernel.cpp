#include "tracer/path_kernel.h"

namespace verdanium {

Vec3 RecursivePathTracer::trace(const Scene& frameScene, const Ray& ray) const {
    return tracePath(*this, frameScene, ray);
}

} // namespace verdanium
