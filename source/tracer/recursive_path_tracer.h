#pragma once

#include "foundation/math/vec4.h"
#include "tracer/camera.h"
#include "tracer/pixel_record.h"
#include "tracer/renderer.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace verdanium {

class Window;
struct WindowSettings;

// The program's renderer: four ways of making a picture of the scene (path
// tracing, two raster modes and the hybrid of both), behind the Renderer
// interface. One render call is one whole frame, swap and message pump included.
//
// Contract: built with the GL context current, after the window and before the
// scene; the window must outlive the renderer. All operations run on the main
// thread; the render workers only read the settings while the main thread waits.
class RecursivePathTracer : public Renderer {
public:
    RecursivePathTracer(Window& window, const WindowSettings& settings);
    ~RecursivePathTracer() override;

    RecursivePathTracer(const RecursivePathTracer&) = delete;
    RecursivePathTracer& operator=(const RecursivePathTracer&) = delete;

    void render(Scene& scene) override;
    void setMaxDepth(std::uint64_t value) override { maxDepth = value; }
    void setSecondaryBounceCount(std::uint64_t value) override { secondaryBounceCount = value; }
    void setBidirectional(std::uint64_t value) override { bidirectional = value; }
    // The one setter that restarts the picture, even with the mode already set.
    void setRenderMode(std::uint32_t value) override {
        renderMode = value;
        dirty = true;
    }
    void setCpuThreads(std::uint64_t value) override { cpuThreads = value; }
    // Keeps the sums and leaves dirty alone: a resize alone starts no new picture.
    void resize(std::uint32_t width, std::uint32_t height) override;
    void printGlInfo(std::ostream& out) override;

    // Non-owning: supplies the swap, the message pump and the first size.
    Window& window;
    // The framebuffer converts to sRGB itself, so the CPU applies no gamma.
    bool srgbOutput;

    // Pixel to ray mapping and projection: built from the window size, replaced
    // by every resize.
    Camera camera;

    // Running sums per pixel: red, green, blue and the sample count.
    std::vector<Vec4> accumulation;
    // The converted picture of path-trace mode.
    std::vector<Vec4> displayPixels;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    // Greatest ray depth that is still traced.
    std::uint64_t maxDepth = 5;
    // Samples of the first bounce.
    std::uint64_t secondaryBounceCount = 3;
    // Zero or non-zero: direct sampling of the lights at every bounce.
    std::uint64_t bidirectional = 1;
    std::uint32_t renderMode = RenderModeHybrid;
    // The next frame starts a new accumulation (and, in hybrid mode, rebuilds its
    // raster data).
    bool dirty = true;
    // 0: no tracing; 1: on the calling thread; more: on all pool threads.
    std::uint64_t cpuThreads = 2;
    // The scene of the current frame, written by every render call; not owned.
    Scene* scene = nullptr;

    // The tile grid of the current frame.
    std::uint64_t tileWidth = 0;
    std::uint64_t tileHeight = 0;
    std::uint64_t tilesX = 0;
    std::uint64_t tilesY = 0;
    // Scene::changeCount at the last traced frame; all ones so that the first
    // frame always starts a new accumulation.
    std::uint64_t seenChangeCount = ~std::uint64_t{0};
    // Next tile or chunk to hand out: the only member workers write.
    std::atomic<std::uint64_t> nextWork{0};
    // Zeroed beside nextWork every traced frame and never read.
    std::atomic<std::uint64_t> finishedWork{0};

    // Hybrid mode's raster targets, read back.
    std::vector<Vec4> positionTexels;
    std::vector<Vec4> normalTexels;
    std::uint32_t gBuffer = 0;
    std::uint32_t diffuseTexture = 0;
    std::uint32_t positionTexture = 0;
    std::uint32_t normalTexture = 0;
    std::uint32_t depthTexture = 0;
    std::uint32_t pathTraceTexture = 0;

    // The covered pixels of hybrid mode.
    std::vector<PixelRecord> workList;

    // Division of the work list into chunks.
    std::uint64_t chunkSize = 0;
    std::uint64_t chunkCount = 0;

    // Here follows the composite's screen quad (a shared Geometry of size 2.0).

    std::uint32_t quadVertexArray = 0;

    // Here follows the composite shader program, from
    // "..\..\..\data\materials\composite".

    std::int32_t diffuseSamplerLocation = -1;
    std::int32_t pathTraceSamplerLocation = -1;
    std::int32_t vertexLocation = -1;
    std::int32_t texCoordLocation = -1;
};

} // namespace verdanium
