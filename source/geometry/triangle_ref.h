#pragma once

#include <cstdint>

namespace verdanium {

class Geometry;

// Names one triangle of a mesh: corners firstVertex, firstVertex + 1 and firstVertex + 2 of the mesh's
// positions. firstVertex is always a multiple of 3.
struct TriangleRef {
    const Geometry* geometry = nullptr;
    std::uint64_t firstVertex = 0;
};

} // namespace verdanium
