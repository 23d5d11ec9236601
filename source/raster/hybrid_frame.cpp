#include "raster/hybrid_frame.h"

#include "raster/composite_pass.h"
#include "raster/hybrid_targets.h"
#include "raster/scene_raster_state.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <GL/glew.h>

namespace verdanium {

void drawIntoHybridTargets(RecursivePathTracer& r, Scene& scene) {
    glBindFramebuffer(GL_FRAMEBUFFER, r.gBuffer);
    const GLenum colourTargets[3] = {GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT1, GL_COLOR_ATTACHMENT2};
    glDrawBuffers(3, colourTargets);
    // A zero alpha in the position target is what marks a pixel as uncovered,
    // so the clear must give exactly that whatever colour was set before. The
    // clear colour comes back with the caller's glPopAttrib.
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    scene.rasterize(static_cast<RenderMode>(r.renderMode), r.camera);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

namespace {

// Rasterises the scene into the targets and turns what they hold into the list
// of covered pixels.
void rasterizeTargets(RecursivePathTracer& r, Scene& scene) {
    applyRasterState();
    if (r.dirty || r.positionTexels.size() != static_cast<std::size_t>(r.width) * r.height)
        rebuildHybridTargets(r);

    drawIntoHybridTargets(r, scene);

    readBackHybridTargets(r);
    collectCoveredPixels(r.positionTexels, r.normalTexels, r.workList);
    r.clearAccumulation();
}

} // namespace

void renderHybridFrame(RecursivePathTracer& r, Scene& scene) {
    glPushAttrib(kAllAttributeBits);
    const std::uint64_t changeCount = scene.changeCount;
    if (r.dirty || r.seenChangeCount != changeCount)
        rasterizeTargets(r, scene);

    r.traceWorkList();

    glBindTexture(GL_TEXTURE_2D, r.pathTraceTexture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(r.width), static_cast<GLsizei>(r.height),
                    GL_RGBA, GL_FLOAT, r.accumulation.data());
    drawComposite(r);

    r.seenChangeCount = changeCount;
    glPopAttrib();
}

} // namespace verdanium
