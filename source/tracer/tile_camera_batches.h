#pragma once

#include "foundation/math/vec4.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "raster/background.h"
#include "tracer/camera.h"
#include "tracer/light_sampling.h"
#include "tracer/path_kernel.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace verdanium {

// A world whose nearest-hit query also takes up to 64 rays at once (Scene::intersectBatch), answering each
// as its own query would, to the bit.
template <class World>
concept AnswersRayBatches = requires(const World& world, std::span<const Ray> rays, std::span<Hit> hits) {
    { world.intersectBatch(rays, hits) } -> std::same_as<std::uint64_t>;
};

// What a camera ray's query found: the world ray and the fields of the hit that the query fills (entity null
// for a miss). Enough to go on with the path as if the query had just returned.
struct CameraFirstHit {
    Vec3 origin;
    Vec3 direction;
    Entity* entity;
    const Geometry* geometry;
    std::uint64_t firstIndex;
    float u;
    float v;
    float t;
};

// A batch of camera rays: 8 x 8 pixels, whose rays leave the camera's origin in nearly one direction, so
// that the scene's tree is walked once for the 64 of them (shared_origin_walk.h).
inline constexpr std::uint64_t kBatchColumns = 8;
inline constexpr std::uint64_t kBatchRows = 8;

// Traces the pixels [x0, x1) x [y0, y1) of a tile, adding one sample to each, as drawTilesThrough's per-pixel
// loop does: the same camera rays, the same first hits, then the same paths in the same order (columns
// outer, rows inner), hence the same random draws and the same sums to the bit. Only the camera rays' own
// queries move: they carry no random draw, so they can run ahead, batch by batch, for a strip of 8 columns,
// before the strip's paths are traced.
//
// One thing a caller can see differs from the per-pixel loop, and only on failure: a singular camera or
// entity transform raises its error before, not after, the earlier pixels of its strip got their samples.
template <class World>
void traceTileInBatches(RecursivePathTracer& renderer, const World& world, std::uint64_t x0, std::uint64_t y0,
                        std::uint64_t x1, std::uint64_t y1) {
    if (x0 >= x1 || y0 >= y1)
        return;
    const Scene& scene = sceneOf(world);
    const std::uint64_t width = renderer.width;
    const std::uint64_t rows = y1 - y0;
    Vec4* const sums = renderer.accumulation.data();
    // One strip's first hits, per thread, kept between tiles and frames: it grows with the tile's height
    // once, and no frame after that allocates.
    thread_local std::vector<CameraFirstHit> strip;
    if (strip.size() < kBatchColumns * rows)
        strip.resize(kBatchColumns * rows);

    // Made once per tile: a batch resets only the members a query reads and writes, the fields of
    // CameraFirstHit and `complete`, where a Hit made anew would clear some 200 bytes per ray.
    Ray rays[kBatchColumns * kBatchRows];
    Hit hits[kBatchColumns * kBatchRows];
    for (std::uint64_t stripX = x0; stripX < x1; stripX += kBatchColumns) {
        const std::uint64_t stripEnd = std::min(x1, stripX + kBatchColumns);
        for (std::uint64_t batchY = y0; batchY < y1; batchY += kBatchRows) {
            const std::uint64_t batchEnd = std::min(y1, batchY + kBatchRows);
            std::size_t count = 0;
            for (std::uint64_t x = stripX; x < stripEnd; ++x) {
                for (std::uint64_t y = batchY; y < batchEnd; ++y) {
                    Ray cameraRay;
                    cameraRay.countsLights = true;
                    pixelRay(renderer.camera, static_cast<float>(x), static_cast<float>(y), cameraRay);
                    rays[count] = toObjectSpace(scene.camera.checkedInverse(), cameraRay);
                    Hit& hit = hits[count++];
                    hit.entity = nullptr;
                    hit.geometry = nullptr;
                    hit.firstIndex = ~std::uint64_t(0);
                    hit.u = 0.0f;
                    hit.v = 0.0f;
                    hit.t = std::numeric_limits<float>::infinity();
                    hit.complete = false;
                }
            }
            const std::uint64_t found =
                world.intersectBatch(std::span<const Ray>(rays, count), std::span<Hit>(hits, count));
            count = 0;
            for (std::uint64_t x = stripX; x < stripEnd; ++x) {
                for (std::uint64_t y = batchY; y < batchEnd; ++y, ++count) {
                    const Hit& hit = hits[count];
                    const bool struck = (found >> count) & 1u;
                    strip[(x - stripX) * rows + (y - y0)] = {rays[count].origin,
                                                             rays[count].direction,
                                                             struck ? hit.entity : nullptr,
                                                             hit.geometry,
                                                             hit.firstIndex,
                                                             hit.u,
                                                             hit.v,
                                                             hit.t};
                }
            }
        }

        // The paths, pixel by pixel in the strip's order; the pixel `kAhead` places further on is followed
        // by (aheadX, aheadY).
        constexpr std::uint64_t kAhead = 8;
        const std::uint64_t pixels = (stripEnd - stripX) * rows;
        std::uint64_t aheadX = stripX + kAhead / rows;
        std::uint64_t aheadY = y0 + kAhead % rows;
        std::uint64_t x = stripX;
        std::uint64_t y = y0;
        for (std::uint64_t j = 0; j < pixels; ++j) {
            // Most camera rays leave the scene at once, and then a pixel costs little but two cache misses:
            // its background texel and its element of the sums (a column steps through the sums by a whole
            // row). Both are loaded for a pixel a few ahead while this one is traced.
            if (j + kAhead < pixels) {
                const CameraFirstHit& ahead = strip[j + kAhead];
                if (scene.background && !ahead.entity)
                    scene.background->prefetchRadiance(ahead.direction);
                __builtin_prefetch(&sums[aheadY * width + aheadX], 1);
                if (++aheadY == y1) {
                    aheadY = y0;
                    ++aheadX;
                }
            }
            const CameraFirstHit& first = strip[j];
            Ray ray;
            ray.origin = first.origin;
            ray.direction = first.direction;
            ray.countsLights = true;
            // A camera ray has depth 0, which no maxDepth exceeds: tracePath's first test always passes.
            Vec3 radiance;
            if (!first.entity) {
                radiance = environmentRadiance(scene, ray, renderer.bidirectional != 0);
            } else {
                Hit hit;
                hit.ray = ray;
                hit.entity = first.entity;
                hit.geometry = first.geometry;
                hit.firstIndex = first.firstIndex;
                hit.u = first.u;
                hit.v = first.v;
                hit.t = first.t;
                radiance = traceFromHit(renderer, world, ray, hit);
            }
            sums[y * width + x] += Vec4(radiance, 1.0f);
            if (++y == y1) {
                y = y0;
                ++x;
            }
        }
    }
}

} // namespace verdanium
