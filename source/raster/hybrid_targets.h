#pragma once

#include "foundation/math/vec4.h"
#include "tracer/pixel_record.h"

#include <vector>

namespace verdanium {

class RecursivePathTracer;

// The off-screen targets of the hybrid mode, all of the renderer's width x
// height: the framebuffer gBuffer with colour, world position and world normal
// (RGBA32F, nearest) and a 24-bit depth texture, and beside it pathTraceTexture
// (RGBA32F, nearest) for the raw sums. Also sizes positionTexels and
// normalTexels to match, so that a read-back always fits.
//
// The old framebuffer, position, normal, depth and path-trace names are
// deleted. The old diffuse texture's name is not: it stays allocated and a new
// one is taken, so each rebuild (a mode change or a new pixel count) leaves one
// texture behind until the context goes. Main thread, GL
// context current; binds framebuffer 0 at the end and leaves the path-trace
// texture bound to GL_TEXTURE_2D.
void rebuildHybridTargets(RecursivePathTracer& renderer);

// Reads positionTexture and normalTexture back into positionTexels and
// normalTexels (level 0, RGBA floats, rows from the bottom). Leaves texture 0
// bound.
void readBackHybridTargets(RecursivePathTracer& renderer);

// Empties workList and appends, in pixel order, one record for every texel
// whose position alpha is not 0: its index, and the first three components of
// its position and normal texels. The normal is kept as stored. Reads no more
// texels than both arrays hold.
void collectCoveredPixels(const std::vector<Vec4>& positionTexels, const std::vector<Vec4>& normalTexels,
                          std::vector<PixelRecord>& workList);

} // namespace verdanium
