#pragma once

#include <cstdint>

namespace verdanium {

// Points `attribute` of the bound vertex array at a tightly packed float buffer
// of `components` per vertex, and enables it. Leaves the buffer bound to
// GL_ARRAY_BUFFER. A location of -1 (a name the program lacks) raises a GL error
// that the next checkGlError reports.
void attachFloatAttribute(std::uint32_t buffer, std::int32_t attribute, int components);

} // namespace verdanium
