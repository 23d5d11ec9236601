// verdanium-bench: figures for the path-traced frame, one line per measurement in the form
// "bench <name>: <value> <unit>", so that runs can be compared by a script.
//
// The scene is the program's default one with the flight advanced to 10 s and paused, traced at 640 x 480 in
// RenderModePathTrace with the default depth, bounce count and direct light. Measured: the frame time for
// both intersectors on one thread and on all pool threads, the rays per second of each, and the same frame
// traced through an all-Embree reference (both levels in one Embree scene of instances, the same kernel).
// Then the default mode, RenderModeHybrid, with its default settings: the frame time paused (tracing, the
// upload of the sums and the composite) and during the flight (every frame also rasterises the scene and
// reads its targets back).
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
#include <exception>
#include <iostream>
#include <vector>

using namespace verdanium;

namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;
constexpr double kFlightTime = 10.0;
constexpr int kTimedFrames = 3;

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

void printFigure(const char* name, double value, const char* unit) {
    std::printf("bench %s: %.3f %s\n", name, value, unit);
    std::fflush(stdout);
}

// Mean seconds of a frame over a few, after one frame that warms caches and starts the pool's workers.
template <class Frame>
double secondsPerFrame(Frame&& frame) {
    frame();
    std::vector<double> seconds;
    for (int i = 0; i < kTimedFrames; ++i) {
        auto start = std::chrono::steady_clock::now();
        frame();
        seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    // The median: one frame disturbed by another process on a shared machine must not move the figure.
    std::sort(seconds.begin(), seconds.end());
    return seconds[seconds.size() / 2];
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
    printFigure("hybrid_frame_paused_threads2", secondsPerFrame([&] { renderer.render(scene); }) * 1000.0,
                "ms");

    gPaused = false;
    std::vector<double> seconds;
    for (int i = 0; i <= kTimedFrames; ++i) {
        scene.update(0.01);
        auto start = std::chrono::steady_clock::now();
        renderer.render(scene);
        // The first flying frame warms nothing the others lack, but is dropped like the warm-up frame above.
        if (i > 0)
            seconds.push_back(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    gPaused = true;
    std::sort(seconds.begin(), seconds.end());
    printFigure("hybrid_frame_flying_threads2", seconds[seconds.size() / 2] * 1000.0, "ms");
    std::printf("bench hybrid_covered_pixels: %zu pixels\n", renderer.workList.size());
    std::fflush(stdout);
}

void run() {
    HeadlessSession session(kWidth, kHeight);
    session.advanceFlightTo(kFlightTime);
    RecursivePathTracer& renderer = session.renderer;
    Scene& scene = session.scene;
    renderer.setRenderMode(RenderModePathTrace);
    std::printf("bench threads_available: %llu threads\n",
                static_cast<unsigned long long>(gTaskScheduler.threadCount()));

    double oursAllThreads[2] = {};
    for (std::int32_t intersector : {1, 0}) {
        gIntersectorMode = intersector;
        renderer.setCpuThreads(2);
        const std::uint64_t rays = raysPerFrame(renderer, scene);
        double seconds[2] = {};
        for (std::uint64_t threads : {1, 2}) {
            renderer.setCpuThreads(threads);
            seconds[threads - 1] = secondsPerFrame([&] { renderer.render(scene); });
            char name[96];
            std::snprintf(name, sizeof name, "pathtrace_frame_intersector%d_threads%llu", intersector,
                          static_cast<unsigned long long>(threads));
            printFigure(name, seconds[threads - 1] * 1000.0, "ms");
            std::snprintf(name, sizeof name, "pathtrace_rays_intersector%d_threads%llu", intersector,
                          static_cast<unsigned long long>(threads));
            printFigure(name, static_cast<double>(rays) / seconds[threads - 1] / 1e6, "Mrays/s");
        }
        char name[96];
        std::snprintf(name, sizeof name, "pathtrace_speedup_intersector%d_threads2_over_1", intersector);
        printFigure(name, seconds[0] / seconds[1], "x");
        oursAllThreads[intersector] = seconds[1];
    }

    gIntersectorMode = 1;
    const double oursMean = meanOfPicture(renderer);
    EmbreeReferenceWorld reference(scene);
    // Restarts the sums, so that the reference's picture is its own.
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setCpuThreads(2);
    const std::uint64_t referenceRays = raysPerFrame(renderer, reference);
    for (std::uint64_t threads : {1, 2}) {
        renderer.setCpuThreads(threads);
        double seconds = secondsPerFrame([&] { renderer.renderPathTraceFrame(reference); });
        char name[96];
        std::snprintf(name, sizeof name, "reference_embree_frame_threads%llu",
                      static_cast<unsigned long long>(threads));
        printFigure(name, seconds * 1000.0, "ms");
        std::snprintf(name, sizeof name, "reference_embree_rays_threads%llu",
                      static_cast<unsigned long long>(threads));
        printFigure(name, static_cast<double>(referenceRays) / seconds / 1e6, "Mrays/s");
        if (threads == 2) {
            printFigure("pathtrace_intersector1_over_reference_threads2", oursAllThreads[1] / seconds, "x");
        }
    }
    // Both pictures converge on the same scene: a large gap here means the reference traces something else.
    printFigure("reference_picture_mean_difference",
                100.0 * (meanOfPicture(renderer) - oursMean) / (oursMean != 0.0 ? oursMean : 1.0), "%");

    benchHybrid(session);

    // The world's fixed step at growing asteroid counts. It recreates the scene, so it comes last.
    benchWorldSteps(scene);
}

} // namespace

int main() {
    int status = 0;
    try {
        run();
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
        status = 1;
    }
    gGeometryCache.clear();
    return status;
}
