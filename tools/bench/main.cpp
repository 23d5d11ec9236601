// verdanium-bench: figures for the path-traced frame, one line per measurement in the form
// "figure <name> <value> <unit>", so that runs can be compared by a script.
//
// The scene is the program's default one with the flight advanced to 10 s and paused, traced at 640 x 480 in
// RenderModePathTrace with the default depth, bounce count and direct light. Measured: the frame time for
// both intersectors on one thread and on all pool threads, the rays per second of each, and the same frame
// traced through an all-Embree reference (both levels in one Embree scene of instances, the same kernel).
// Then the default mode, RenderModeHybrid, with its default settings: the frame time paused (tracing, the
// upload of the sums and the composite) and during the flight (every frame also rasterises the scene and
// reads its targets back). Last, the world's fixed step at growing asteroid counts.
//
// Arguments name the groups to measure, "frame", "hybrid" and "world"; none measures all.
#include "command_line.h"
#include "embree_reference.h"
#include "headless_session.h"
#include "world_step_bench.h"

#include "app/program_flags.h"
#include "foundation/resource_cache.h"
#include "geometry/intersector_mode.h"
#include "tracer/path_trace_frame.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

using namespace verdanium;

namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;
constexpr double kFlightTime = 10.0;
constexpr int kTimedFrames = 5;

// Counts the rays a kernel asks about, for the rays-per-second figures. Used on a frame of its own, so that
// the counting never weighs on a timed frame.
template <class Inner>
struct CountingWorld {
    const Inner& inner;
    std::atomic<std::uint64_t>& rays;
    bool intersect(const Ray& ray, Hit& hit) const {
        rays.fetch_add(1, std::memory_order_relaxed);
        return inner.intersect(ray, hit);
    }
    bool occluded(const Ray& ray) const {
        rays.fetch_add(1, std::memory_order_relaxed);
        return inner.occluded(ray);
    }
};

template <class Inner>
const Scene& sceneOf(const CountingWorld<Inner>& world) {
    return sceneOf(world.inner);
}

double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct FrameTime {
    double wall = 0.0; // seconds from the call to its return
    double cpu = 0.0;  // processor seconds of all threads of the process in that time
};

void printFigure(const char* name, double value, const char* unit) {
    std::printf("figure %s %.3f %s\n", name, value, unit);
    std::fflush(stdout);
}

// The frame time, its processor time and the rays per second of one configuration; an intersector of -1
// leaves it out of the names.
void printFrame(const char* prefix, std::int32_t intersector, std::uint64_t threads, const FrameTime& time,
                std::uint64_t rays) {
    char setting[64];
    if (intersector < 0) {
        std::snprintf(setting, sizeof setting, "threads%llu", static_cast<unsigned long long>(threads));
    } else {
        std::snprintf(setting, sizeof setting, "intersector%d_threads%llu", intersector,
                      static_cast<unsigned long long>(threads));
    }
    char name[128];
    std::snprintf(name, sizeof name, "%s_frame_%s", prefix, setting);
    printFigure(name, time.wall * 1000.0, "ms");
    std::snprintf(name, sizeof name, "%s_frame_cpu_%s", prefix, setting);
    printFigure(name, time.cpu * 1000.0, "ms");
    std::snprintf(name, sizeof name, "%s_rays_%s", prefix, setting);
    printFigure(name, static_cast<double>(rays) / time.wall / 1e6, "Mrays/s");
}

// The median frame of a few, after one frame that warms caches and starts the pool's workers. The median,
// so that one frame disturbed by another process on a shared machine does not move the figure; the processor
// time beside it is what the frame cost whatever else ran, and on one thread it is the steadier figure.
template <class Frame>
FrameTime timeFrame(Frame&& frame) {
    frame();
    std::vector<FrameTime> times;
    for (int i = 0; i < kTimedFrames; ++i) {
        auto start = std::chrono::steady_clock::now();
        double cpuStart = processCpuSeconds();
        frame();
        times.push_back({std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                         processCpuSeconds() - cpuStart});
    }
    std::sort(times.begin(), times.end(),
              [](const FrameTime& a, const FrameTime& b) { return a.wall < b.wall; });
    return times[times.size() / 2];
}

template <class World>
std::uint64_t raysPerFrame(RecursivePathTracer& renderer, const World& world) {
    std::atomic<std::uint64_t> rays{0};
    CountingWorld<World> counting{world, rays};
    renderer.renderPathTraceFrame(counting);
    // Every camera and bounce ray goes through intersect and every shadow ray through occluded, so this is
    // the frame's whole count of rays.
    return rays.load();
}

double meanOfPicture(const RecursivePathTracer& renderer) {
    double sum = 0.0;
    for (const Vec4& pixel : renderer.displayPixels) {
        sum += pixel.x + pixel.y + pixel.z;
    }
    return sum / (3.0 * static_cast<double>(renderer.displayPixels.size()));
}

// Times the hybrid frame as the program shows it: paused, where only the first frame rasterises, and flying,
// where a world step between frames changes the scene so that every frame rasterises and reads back. The
// steps themselves are not timed.
void benchHybrid(HeadlessSession& session) {
    RecursivePathTracer& renderer = session.renderer;
    Scene& scene = session.scene;
    gIntersectorMode = 1;
    renderer.setRenderMode(RenderModeHybrid);
    renderer.setCpuThreads(2);
    const FrameTime paused = timeFrame([&] { renderer.render(scene); });
    printFigure("hybrid_frame_paused_threads2", paused.wall * 1000.0, "ms");
    printFigure("hybrid_frame_cpu_paused_threads2", paused.cpu * 1000.0, "ms");

    gPaused = false;
    std::vector<FrameTime> times;
    for (int i = 0; i <= kTimedFrames; ++i) {
        scene.update(0.01);
        auto start = std::chrono::steady_clock::now();
        double cpuStart = processCpuSeconds();
        renderer.render(scene);
        // The first flying frame is dropped like the warm-up frame of timeFrame.
        if (i > 0) {
            times.push_back({std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                             processCpuSeconds() - cpuStart});
        }
    }
    gPaused = true;
    std::sort(times.begin(), times.end(),
              [](const FrameTime& a, const FrameTime& b) { return a.wall < b.wall; });
    const FrameTime& flying = times[times.size() / 2];
    printFigure("hybrid_frame_flying_threads2", flying.wall * 1000.0, "ms");
    printFigure("hybrid_frame_cpu_flying_threads2", flying.cpu * 1000.0, "ms");
    printFigure("hybrid_covered_pixels", static_cast<double>(renderer.workList.size()), "pixels");
}

// Which groups of figures a run measures: all by default, or those named on the command line, so that one
// group can be measured alone (and quickly) while it is being worked on.
struct Sections {
    bool frame = true;
    bool hybrid = true;
    bool world = true;
};

void benchPathTrace(HeadlessSession& session) {
    RecursivePathTracer& renderer = session.renderer;
    Scene& scene = session.scene;
    renderer.setRenderMode(RenderModePathTrace);
    std::printf("figure threads_available %llu threads\n",
                static_cast<unsigned long long>(gTaskScheduler.threadCount()));

    // What a frame costs besides tracing, on the main thread alone: conversion of the sums, glDrawPixels,
    // clear and the rest of render. It bounds what more threads can gain.
    // One traced frame first, so that every pixel has a count and the conversion does its full work.
    renderer.setCpuThreads(2);
    renderer.render(scene);
    renderer.setCpuThreads(0);
    printFigure("pathtrace_frame_untraced", timeFrame([&] { renderer.render(scene); }).wall * 1000.0, "ms");
    printFigure("pathtrace_conversion", timeFrame([&] { renderer.convertAccumulation(); }).wall * 1000.0,
                "ms");

    FrameTime ours[2][2] = {}; // [intersector][threads - 1]
    for (std::int32_t intersector : {1, 0}) {
        gIntersectorMode = intersector;
        renderer.setCpuThreads(2);
        const std::uint64_t rays = raysPerFrame(renderer, scene);
        for (std::uint64_t threads : {1, 2}) {
            renderer.setCpuThreads(threads);
            FrameTime time = timeFrame([&] { renderer.render(scene); });
            ours[intersector][threads - 1] = time;
            printFrame("pathtrace", intersector, threads, time, rays);
        }
        char name[96];
        std::snprintf(name, sizeof name, "pathtrace_speedup_intersector%d_threads2_over_1", intersector);
        printFigure(name, ours[intersector][0].wall / ours[intersector][1].wall, "x");
        // Processor time of two threads over one for the same frame: above 1 is what sharing costs (the
        // common random generator, the atomic tile cursor, caches), whatever else the machine runs.
        std::snprintf(name, sizeof name, "pathtrace_cpu_cost_intersector%d_threads2_over_1", intersector);
        printFigure(name, ours[intersector][1].cpu / ours[intersector][0].cpu, "x");
    }

    gIntersectorMode = 1;
    const double oursMean = meanOfPicture(renderer);
    EmbreeReferenceWorld reference(scene);
    // Restarts the sums, so that the reference's picture is its own.
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setCpuThreads(2);
    const std::uint64_t referenceRays = raysPerFrame(renderer, reference);
    FrameTime referenceTime[2];
    for (std::uint64_t threads : {1, 2}) {
        renderer.setCpuThreads(threads);
        referenceTime[threads - 1] = timeFrame([&] { renderer.renderPathTraceFrame(reference); });
        printFrame("reference_embree", -1, threads, referenceTime[threads - 1], referenceRays);
    }
    printFigure("pathtrace_intersector1_over_reference_threads1", ours[1][0].wall / referenceTime[0].wall,
                "x");
    printFigure("pathtrace_intersector1_over_reference_threads2", ours[1][1].wall / referenceTime[1].wall,
                "x");
    printFigure("pathtrace_intersector1_over_reference_cpu_threads1", ours[1][0].cpu / referenceTime[0].cpu,
                "x");
    // Both pictures converge on the same scene: a large gap here means the reference traces something else.
    printFigure("reference_picture_mean_difference",
                100.0 * (meanOfPicture(renderer) - oursMean) / (oursMean != 0.0 ? oursMean : 1.0), "%");
}

void run(const Sections& sections) {
    HeadlessSession session(kWidth, kHeight);
    session.advanceFlightTo(kFlightTime);
    if (sections.frame)
        benchPathTrace(session);
    if (sections.hybrid)
        benchHybrid(session);
    // The world's fixed step at growing asteroid counts. It recreates the scene, so it comes last.
    if (sections.world)
        benchWorldSteps(session.scene);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the path-traced frame, the hybrid frame and the world's step, one \"figure <name> "
                 "<value> <unit>\" line per measurement.",
                 "verdanium-bench");
    prepareToolApp(app);
    std::vector<std::string> groups;
    app.add_option("groups", groups, "the groups to measure: frame, hybrid, world (all when none is named)")
        ->check(CLI::IsMember({"frame", "hybrid", "world"}));
    if (const std::optional<int> status = parseCommandLine(app, argc, argv)) {
        return *status;
    }
    Sections sections;
    if (!groups.empty()) {
        const auto named = [&](const char* name) {
            return std::find(groups.begin(), groups.end(), name) != groups.end();
        };
        sections = Sections{named("frame"), named("hybrid"), named("world")};
    }
    int status = 0;
    try {
        run(sections);
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
        status = 1;
    }
    gGeometryCache.clear();
    return status;
}
