#pragma once

namespace verdanium {

class RecursivePathTracer;
class Scene;

// One frame of RenderModeHybrid.
//
// When the renderer is dirty or the scene changed since the last traced frame,
// the scene is rasterised into the targets (rebuilt first when dirty or when
// the picture's pixel count changed), the covered pixels are read back into
// workList, and the sums start again from zero. Then, every frame, drawPixels
// adds the light gathered at each covered pixel as cpuThreads says, the raw
// sums go to pathTraceTexture, and the composite joins them with the
// rasterised colour. A still scene thus costs only tracing, one upload and one
// full-screen draw. After a resize of a still scene the targets and workList
// keep the old size until the next change; drawPixels skips the records that
// no longer fit the sums.
//
// Main thread, GL context current. A frame that rasterises leaves framebuffer
// 0 bound, so the composite lands in the default framebuffer; the rest of the
// GL state is left as found. Stores the scene's changeCount in seenChangeCount.
void renderHybridFrame(RecursivePathTracer& renderer, Scene& scene);

// The raster step of such a frame alone: clears the three targets (a zero alpha
// marks an uncovered pixel) and draws the scene into them, leaving framebuffer 0
// bound. The caller brackets it with glPushAttrib/glPopAttrib and has the raster
// state applied and the targets sized.
void drawIntoHybridTargets(RecursivePathTracer& renderer, Scene& scene);

} // namespace verdanium
