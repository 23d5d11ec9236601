// The path-traced frame: running sums per pixel, their restart, the division of a frame's work among the
// pool's workers, and the conversion to displayable pixels.
#include "tracer/recursive_path_tracer.h"

#include "foundation/math/math_errors.h"
#include "foundation/math/orthonormal_basis.h"
#include "geometry/ray.h"
#include "tracer/concentric_disk.h"
#include "tracer/light_sampling.h"
#include "tracer/path_trace_frame.h"
#include "tracer/task_scheduler.h"
#include "world/cone_light.h"
#include "world/random.h"
#include "world/scene.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>

namespace verdanium {

namespace {

// The pool's run functions: the element index is only a place for a worker to enter the job's own loop over
// nextWork, so it is ignored.
void runDrawPixels(TaskSchedulerStandard::Thread&, void* renderer, std::uint64_t) {
    drawPixels(*static_cast<RecursivePathTracer*>(renderer));
}

} // namespace

void RecursivePathTracer::clearAccumulation() {
    std::fill(accumulation.begin(), accumulation.end(), Vec4{});
}

void RecursivePathTracer::runOnWorkers(TaskSchedulerStandard::RunFunction job, void* argument) {
    // One element per worker: each enters the job once and leaves when nextWork is spent. This thread sleeps
    // in waitAndUnlock, which also orders the workers' writes before our reads of accumulation.
    gTaskScheduler.lock();
    std::uint64_t elements = gTaskScheduler.threadCount();
    gTaskScheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, job, argument, elements, nullptr,
                           nullptr, "drawTile");
    gTaskScheduler.waitAndUnlock();
}

void RecursivePathTracer::traceWorkList() {
    nextWork = 0;
    finishedWork = 0;
    if (cpuThreads == 1) {
        chunkSize = workList.size();
        chunkCount = 1;
        drawPixels(*this);
    } else if (cpuThreads > 1) {
        chunkSize = 256;
        chunkCount = (workList.size() + 255) >> 8;
        runOnWorkers(runDrawPixels, this);
    }
}

namespace {

// One displayable pixel from a running sum: divided by the count, then the gamma power unless the
// framebuffer converts to sRGB itself. An unsampled pixel (count 0) stays all zero.
Vec4 displayPixel(const Vec4& sum, bool srgbOutput) {
    if (sum.w == 0.0f)
        return Vec4{};
    Vec4 pixel = sum * (1.0f / sum.w);
    if (!srgbOutput) {
        // powf(1, y) is exactly 1, and the count's component is 1 after the division in all but rare
        // roundings: skipping its power saves a quarter of the conversion without changing a bit.
        pixel = {std::pow(pixel.x, 0.45454544f), std::pow(pixel.y, 0.45454544f),
                 std::pow(pixel.z, 0.45454544f), pixel.w == 1.0f ? 1.0f : std::pow(pixel.w, 0.45454544f)};
    }
    return pixel;
}

// The conversion shared among the pool's workers in chunks. Three powf per pixel make it some 7 ms at
// 640 x 480, which on one thread would be the largest serial part of a two-thread frame.
struct ConversionJob {
    RecursivePathTracer* renderer;
    std::atomic<std::size_t> nextChunk{0};

    static constexpr std::size_t kChunk = 4096;

    static void run(TaskSchedulerStandard::Thread&, void* argument, std::uint64_t) {
        auto& job = *static_cast<ConversionJob*>(argument);
        RecursivePathTracer& r = *job.renderer;
        const std::size_t count = r.accumulation.size();
        for (;;) {
            const std::size_t first = job.nextChunk.fetch_add(1) * kChunk;
            if (first >= count)
                return;
            const std::size_t last = std::min(count, first + kChunk);
            for (std::size_t i = first; i < last; ++i)
                r.displayPixels[i] = displayPixel(r.accumulation[i], r.srgbOutput);
        }
    }
};

} // namespace

void RecursivePathTracer::convertAccumulation() {
    // Sized first and then written by index, so that workers can fill disjoint chunks. displayPixels keeps
    // its capacity from frame to frame, so after the first frame this allocates nothing.
    displayPixels.resize(accumulation.size());
    if (cpuThreads > 1 && accumulation.size() > ConversionJob::kChunk) {
        ConversionJob job{this};
        runOnWorkers(&ConversionJob::run, &job);
        return;
    }
    for (std::size_t i = 0; i < accumulation.size(); ++i)
        displayPixels[i] = displayPixel(accumulation[i], srgbOutput);
}

void drawTiles(RecursivePathTracer& renderer) {
    drawTilesThrough(renderer, *renderer.scene);
}

void drawPixels(RecursivePathTracer& renderer) {
    Scene& scene = *renderer.scene;
    const std::uint64_t records = renderer.workList.size();
    Vec4* const sums = renderer.accumulation.data();
    for (;;) {
        const std::uint64_t chunk = renderer.nextWork.fetch_add(1);
        if (chunk >= renderer.chunkCount) {
            return;
        }
        const std::uint64_t first = chunk * renderer.chunkSize;
        const std::uint64_t last = std::min(records, first + renderer.chunkSize);
        for (std::uint64_t i = first; i < last; ++i) {
            const PixelRecord& record = renderer.workList[i];
            // After a resize the work list keeps the old picture's indices until the scene or the mode
            // changes; a record that no longer fits the sums is skipped rather than written out of bounds.
            if (record.index >= renderer.accumulation.size()) {
                continue;
            }
            const Vec3 n = normalized(record.normal);
            const TangentPair tangents = orthonormalBasis(n);
            for (std::uint64_t sample = 0; sample < renderer.secondaryBounceCount; ++sample) {
                float a = uniform01(nextRandom());
                float c = uniform01(nextRandom());
                DiskPoint disk = concentricDisk(c, a);
                float zSquared = 1.0f - disk.x * disk.x - disk.y * disk.y;
                float dz = zSquared > 0.0f ? std::sqrt(zSquared) : 0.0f;
                Vec3 w = tangents.u * disk.x + tangents.v * disk.y + n * dz;
                float pdf =
                    dz > 0.0f ? static_cast<float>(static_cast<double>(dz) * 0.3183098861837907) : 0.0f;

                Ray bounce;
                bounce.origin = record.position + w * 0.1f;
                bounce.direction = w;
                bounce.tMin = 0.1f;
                bounce.depth = 1;
                bounce.countsLights = false;

                // The light arriving at a white surface: the surface's own colour joins in the composite.
                Vec3 light;
                if (pdf != 0.0f) {
                    float cosine = dot(w, record.normal);
                    Vec3 incoming = renderer.trace(scene, bounce);
                    light += (incoming * (1.0f / pdf)) * cosine * 0.31830987f;
                }
                if (renderer.bidirectional != 0) {
                    for (const ConeLight& cone : scene.lights) {
                        LightSample lightSample = sampleConeLight(cone);
                        Ray shadow;
                        shadow.origin = record.position + lightSample.direction * 0.1f;
                        shadow.direction = lightSample.direction;
                        shadow.tMin = 0.1f;
                        shadow.countsLights = true;
                        float cosine = dot(lightSample.direction, record.normal);
                        if (lightSample.density > 0.0f && cosine > 0.0f && !scene.occluded(shadow)) {
                            light +=
                                (lightSample.radiance * cosine * 0.31830987f) * (1.0f / lightSample.density);
                        }
                    }
                }
                sums[record.index] += Vec4(light, 1.0f);
            }
        }
    }
}

} // namespace verdanium
