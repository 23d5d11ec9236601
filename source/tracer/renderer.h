#pragma once

#include <cstdint>
#include <iosfwd>

namespace verdanium {

class Scene;

// How a picture is made. The value is what the "Renderer" setting's digit gives.
enum RenderMode : std::uint32_t {
    RenderModePathTrace = 0,    // every pixel traced on the CPU, drawn with glDrawPixels
    RenderModeFixedRaster = 1,  // the scene rasterised by the fixed-function pipeline
    RenderModeShaderRaster = 2, // the scene rasterised with its material shaders
    RenderModeHybrid = 3,       // raster targets plus traced indirect light, joined by a composite shader
};

// The one way the rest of the program asks for pictures. The frame loop calls
// render once a frame, the key commands call the setters and event dispatch calls
// resize; all of it on the main thread, between frames.
//
// The setters store a number and check nothing: the limits on the values belong
// to the key commands. Only setRenderMode restarts the picture; the others take
// effect with later samples without discarding the ones gathered.
class Renderer {
public:
    virtual ~Renderer() = default;

    // One whole frame: draws the scene in the current mode, swaps the buffers,
    // pumps the window's messages (which queue input events) and reports one
    // pending GL error. Keeps only the scene's address, for the frame's jobs.
    virtual void render(Scene& scene) = 0;

    // Greatest ray depth that is still traced.
    virtual void setMaxDepth(std::uint64_t maxDepth) = 0;
    // Number of samples taken at the first bounce.
    virtual void setSecondaryBounceCount(std::uint64_t count) = 0;
    // Non-zero samples the lights directly at every bounce.
    virtual void setBidirectional(std::uint64_t bidirectional) = 0;
    // A RenderMode; any value is stored, and the next frame starts a new picture.
    virtual void setRenderMode(std::uint32_t renderMode) = 0;
    // 0: no tracing; 1: trace on the calling thread; more: on all pool threads.
    virtual void setCpuThreads(std::uint64_t cpuThreads) = 0;
    // New client size in pixels; 0 counts as 1.
    virtual void resize(std::uint32_t width, std::uint32_t height) = 0;
    // Writes the OpenGL, GLU and GLEW identification texts.
    virtual void printGlInfo(std::ostream& out) = 0;
};

} // namespace verdanium
