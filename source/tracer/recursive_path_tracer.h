#pragma once

#include "foundation/math/vec4.h"
#include "tracer/camera.h"
#include "tracer/pixel_record.h"
#include "tracer/renderer.h"
#include "tracer/task_scheduler.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace verdanium {

class GlslProgram;
class Geometry;
class Scene;
class Window;
struct Ray;
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
    // A renderer without a window, for headless tools and tests: it draws into
    // whatever framebuffer is current, takes its first size from the settings,
    // and neither swaps nor pumps messages.
    explicit RecursivePathTracer(const WindowSettings& settings);
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

    // The radiance coming back along a world-space ray (the path kernel).
    // Safe on any number of threads at once; allocates nothing.
    Vec3 trace(const Scene& scene, const Ray& ray) const;

    // The frame of RenderModePathTrace through any world the path kernel
    // accepts (the scene itself in render; see path_trace_frame.h): restart
    // rule, tiles, conversion and glDrawPixels.
    template <class World>
    void renderPathTraceFrame(const World& world);
    // The tracing of hybrid mode's frame: drawPixels over workList, on this
    // thread or the pool as cpuThreads says.
    void traceWorkList();
    // Sets every running sum and count to zero.
    void clearAccumulation();
    // Fills displayPixels from accumulation: divided by the count, then gamma
    // unless the framebuffer converts to sRGB itself.
    void convertAccumulation();
    // Submits `job` to the pool once per worker and sleeps until all are done;
    // a failure in a job is re-thrown here.
    void runOnWorkers(TaskSchedulerStandard::RunFunction job, void* argument);

    // Non-owning: supplies the swap, the message pump and the first size. Null
    // for a renderer without a window.
    Window* window;
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

    // The composite's screen quad (makeQuad at the size 2.0).
    std::shared_ptr<Geometry> quad;
    std::uint32_t quadVertexArray = 0;

    // The composite shader, from "..\..\..\data\materials\composite".
    std::shared_ptr<GlslProgram> compositeProgram;

    std::int32_t diffuseSamplerLocation = -1;
    std::int32_t pathTraceSamplerLocation = -1;
    std::int32_t vertexLocation = -1;
    std::int32_t texCoordLocation = -1;

private:
    // Both public constructors: the window may be null, the size is the first
    // one that resize gets.
    RecursivePathTracer(Window* window, const WindowSettings& settings, std::uint32_t firstWidth,
                        std::uint32_t firstHeight);
};

// The jobs of a traced frame. Each takes units from nextWork until it is spent,
// so any number of threads may run one at once: drawTiles over the 16 x 16
// tiles of the picture, drawPixels over the 256-record chunks of workList.
void drawTiles(RecursivePathTracer& renderer);
void drawPixels(RecursivePathTracer& renderer);

} // namespace verdanium
