#include "hybrid_breakdown.h"

#include "headless_session.h"

#include "app/program_flags.h"
#include "raster/composite_pass.h"
#include "raster/hybrid_frame.h"
#include "raster/hybrid_targets.h"
#include "raster/scene_raster_state.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <vector>

namespace verdanium {
namespace {

constexpr int kTimedFrames = 5;

enum Step { Raster, ReadBack, Collect, Trace, Upload, Composite, StepCount };
constexpr const char* kStepNames[StepCount] = {"raster", "read_back", "collect",
                                               "trace",  "upload",    "composite"};

// The steps of a hybrid frame that rasterises, as renderHybridFrame runs them, each timed on its own.
std::array<double, StepCount> timedFlyingFrame(RecursivePathTracer& r, Scene& scene) {
    std::array<double, StepCount> seconds{};
    auto start = std::chrono::steady_clock::now();
    const auto lap = [&](Step step) {
        glFinish();
        const auto now = std::chrono::steady_clock::now();
        seconds[step] = std::chrono::duration<double>(now - start).count();
        start = now;
    };
    glPushAttrib(kAllAttributeBits);
    applyRasterState();
    drawIntoHybridTargets(r, scene);
    lap(Raster);
    readBackHybridTargets(r);
    lap(ReadBack);
    collectCoveredPixels(r.positionTexels, r.normalTexels, r.workList);
    r.clearAccumulation();
    lap(Collect);
    r.traceWorkList();
    lap(Trace);
    glBindTexture(GL_TEXTURE_2D, r.pathTraceTexture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(r.width), static_cast<GLsizei>(r.height),
                    GL_RGBA, GL_FLOAT, r.accumulation.data());
    lap(Upload);
    drawComposite(r);
    glPopAttrib();
    lap(Composite);
    r.seenChangeCount = scene.changeCount;
    return seconds;
}

} // namespace

void benchHybridBreakdown(HeadlessSession& session) {
    RecursivePathTracer& renderer = session.renderer;
    std::array<std::vector<double>, StepCount> times;
    gPaused = false;
    for (int i = 0; i <= kTimedFrames; ++i) {
        session.scene.update(0.01);
        const std::array<double, StepCount> frame = timedFlyingFrame(renderer, session.scene);
        // The first is dropped, as the warm-up frame of the other figures.
        for (int step = 0; i > 0 && step < StepCount; ++step)
            times[step].push_back(frame[step]);
    }
    gPaused = true;
    double total = 0.0;
    for (int step = 0; step < StepCount; ++step) {
        std::sort(times[step].begin(), times[step].end());
        const double median = times[step][times[step].size() / 2];
        total += median;
        std::printf("figure hybrid_flying_%s_threads2 %.3f ms\n", kStepNames[step], median * 1000.0);
    }
    std::printf("figure hybrid_flying_steps_sum_threads2 %.3f ms\n", total * 1000.0);
    std::fflush(stdout);
}

} // namespace verdanium
