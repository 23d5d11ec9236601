#pragma once

#include "foundation/math/vec4.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "tracer/camera.h"
#include "tracer/path_kernel.h"
#include "tracer/recursive_path_tracer.h"
#include "tracer/tile_camera_batches.h"
#include "world/scene.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstdint>

namespace verdanium {

// The frame of RenderModePathTrace, over any `World` the path kernel accepts (see path_kernel.h): the
// renderer passes its scene, the benchmark its all-Embree reference.

// Traces tiles taken from nextWork until it is spent, adding one sample to every pixel of each. Safe on any
// number of threads at once.
template <class World>
void drawTilesThrough(RecursivePathTracer& renderer, const World& world) {
    const Scene& scene = sceneOf(world);
    const std::uint64_t tileCount = renderer.tilesX * renderer.tilesY;
    const std::uint64_t width = renderer.width;
    const std::uint64_t height = renderer.height;
    Vec4* const sums = renderer.accumulation.data();
    for (;;) {
        // The only synchronisation of a frame: one sequentially consistent fetch-and-add per 16 x 16 tile.
        // Tiles of sky are cheap and tiles of asteroids are not, so a dynamic cursor balances the load where
        // a fixed split would leave a thread idle; 256 pixels per tile make the atomic's cost vanish.
        const std::uint64_t tile = renderer.nextWork.fetch_add(1);
        if (tile >= tileCount) {
            return;
        }
        const std::uint64_t x0 = tile % renderer.tilesX * renderer.tileWidth;
        const std::uint64_t y0 = tile / renderer.tilesX * renderer.tileHeight;
        const std::uint64_t x1 = std::min(width, x0 + renderer.tileWidth);
        const std::uint64_t y1 = std::min(height, y0 + renderer.tileHeight);
        // A world that answers rays in batches finds the tile's camera hits 64 at a time, for the same sums.
        if constexpr (AnswersRayBatches<World>) {
            traceTileInBatches(renderer, world, x0, y0, x1, y1);
            continue;
        }

        Ray cameraRay;
        cameraRay.countsLights = true;
        // Columns outer and rows inner, the order that fixes the sequence of random draws on one thread. The
        // stride through the sums costs nothing: a column of a tile touches 16 cache lines, and even the
        // single tile of a one-thread frame keeps one column's lines (30 KB at 640 x 480) in cache for the
        // next.
        for (std::uint64_t x = x0; x < x1; ++x) {
            for (std::uint64_t y = y0; y < y1; ++y) {
                // No jitter: every frame repeats the same camera ray, and the noise falls only through the
                // random choices after the first hit.
                pixelRay(renderer.camera, static_cast<float>(x), static_cast<float>(y), cameraRay);
                const Ray worldRay = toObjectSpace(scene.camera.checkedInverse(), cameraRay);
                const Vec3 radiance = tracePath(renderer, world, worldRay);
                // Tiles are disjoint, so plain adds: no two threads write one element in a frame.
                sums[y * width + x] += Vec4(radiance, 1.0f);
            }
        }
    }
}

template <class World>
void RecursivePathTracer::renderPathTraceFrame(const World& world) {
    const std::uint64_t changeCount = sceneOf(world).changeCount;
    if (dirty || seenChangeCount != changeCount) {
        clearAccumulation();
    }
    nextWork = 0;
    finishedWork = 0;

    if (cpuThreads == 1) {
        tileWidth = width;
        tileHeight = height;
        tilesX = 1;
        tilesY = 1;
        drawTilesThrough(*this, world);
    } else if (cpuThreads > 1) {
        tileWidth = 16;
        tileHeight = 16;
        tilesX = (static_cast<std::uint64_t>(width) + 15) >> 4;
        tilesY = (static_cast<std::uint64_t>(height) + 15) >> 4;
        struct TileJob {
            RecursivePathTracer* renderer;
            const World* world;
            static void run(TaskSchedulerStandard::Thread&, void* argument, std::uint64_t) {
                auto* job = static_cast<TileJob*>(argument);
                drawTilesThrough(*job->renderer, *job->world);
            }
        } job{this, &world};
        runOnWorkers(&TileJob::run, &job);
    }

    convertAccumulation();
    glRasterPos2i(-1, 1);
    glPixelZoom(1.0f, -1.0f);
    glDrawPixels(static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RGBA, GL_FLOAT,
                 displayPixels.data());
    seenChangeCount = changeCount;
}

} // namespace verdanium
