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
#include <ctime>
#include <vector>

namespace verdanium {
namespace {

constexpr int kTimedFrames = 5;

enum Step { Raster, ReadBack, Collect, Trace, Upload, Composite, StepCount };
constexpr const char* kStepNames[StepCount] = {"raster", "read_back", "collect",
                                               "trace",  "upload",    "composite"};

double cpuSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct FlyingFrame {
    std::array<double, StepCount> seconds{};
    // Processor seconds of the raster step: of the whole process (this thread and the GL driver's), and of
    // this thread alone, which transforms and sets up every corner on a software rasteriser.
    double rasterCpu = 0.0;
    double rasterMainThreadCpu = 0.0;
};

// The steps of a hybrid frame that rasterises, as renderHybridFrame runs them, each timed on its own.
FlyingFrame timedFlyingFrame(RecursivePathTracer& r, Scene& scene) {
    FlyingFrame frame;
    std::array<double, StepCount>& seconds = frame.seconds;
    const double processStart = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    const double threadStart = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
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
    frame.rasterCpu = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - processStart;
    frame.rasterMainThreadCpu = cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - threadStart;
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
    return frame;
}

} // namespace

void benchHybridBreakdown(HeadlessSession& session) {
    RecursivePathTracer& renderer = session.renderer;
    std::array<std::vector<double>, StepCount> times;
    std::vector<double> rasterCpu;
    std::vector<double> rasterMainThreadCpu;
    gPaused = false;
    for (int i = 0; i <= kTimedFrames; ++i) {
        session.scene.update(0.01);
        const FlyingFrame frame = timedFlyingFrame(renderer, session.scene);
        // The first is dropped, as the warm-up frame of the other figures.
        if (i == 0)
            continue;
        for (int step = 0; step < StepCount; ++step)
            times[step].push_back(frame.seconds[step]);
        rasterCpu.push_back(frame.rasterCpu);
        rasterMainThreadCpu.push_back(frame.rasterMainThreadCpu);
    }
    gPaused = true;
    const auto median = [](std::vector<double>& values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    double total = 0.0;
    for (int step = 0; step < StepCount; ++step) {
        const double seconds = median(times[step]);
        total += seconds;
        std::printf("figure hybrid_flying_%s_threads2 %.3f ms\n", kStepNames[step], seconds * 1000.0);
    }
    std::printf("figure hybrid_flying_steps_sum_threads2 %.3f ms\n", total * 1000.0);
    std::printf("figure hybrid_flying_raster_cpu_threads2 %.3f ms\n", median(rasterCpu) * 1000.0);
    std::printf("figure hybrid_flying_raster_cpu_main_thread_threads2 %.3f ms\n",
                median(rasterMainThreadCpu) * 1000.0);
    std::fflush(stdout);
}

} // namespace verdanium
