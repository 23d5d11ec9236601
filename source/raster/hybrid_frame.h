#pragma once

namespace verdanium {

class RecursivePathTracer;
class Scene;

// One frame of RenderModeHybrid, drawn into the current framebuffer.
//
// When the renderer is dirty or the scene changed since the last traced frame,
// the scene is rasterised into the targets (rebuilt first when dirty or when
// the picture's pixel count changed), the covered pixels are read back into
// workList, and the sums start again from zero. Then, every frame, drawPixels
// adds the light gathered at each covered pixel as cpuThreads says, the raw
// sums go to pathTraceTexture, and the composite joins them with the
// rasterised colour. A still scene thus costs only tracing, one upload and one
// full-screen draw.
//
// Main thread, GL context current. Leaves the GL state as it found it, and
// stores the scene's changeCount in seenChangeCount.
void renderHybridFrame(RecursivePathTracer& renderer, Scene& scene);

} // namespace verdanium
