#pragma once

#include "frame_output.h"
#include "render_options.h"

#include "platform/offscreen_context.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace verdanium {

// Gives the renderer the options' settings, as the key commands would: mode, intersector, depth, bounces
// (0 counts as 1, the key's lower bound) and threads.
void applyRenderSettings(RecursivePathTracer& renderer, const RenderOptions& options);

// Renders single frames of the flight, each independent of the others: an off-screen context and renderer
// with the options' settings, and for every frame a world built afresh. Main thread only.
class FlightSession {
public:
    explicit FlightSession(const RenderOptions& options);

    // The picture of video frame `frame` at `seconds` of flight, in the pixel layout of the options' output
    // (takesLinearPixels). The
    // generator is set to its start, the default world is built and flown there in fixed steps and paused;
    // then the generator is seeded from the frame number and the picture accumulates the options' passes.
    // So the pixels depend on the frame and the options only, whatever this session rendered before (bit
    // for bit with one tracing thread; more threads share the generator in an order the scheduling decides).
    // The world's log lines are shown for the first frame only.
    std::vector<std::uint8_t> renderFrame(std::uint64_t frame, double seconds);

private:
    OffscreenContext context;
    RecursivePathTracer renderer;
    // Declared last: entities release GL objects, so the world goes before the context.
    std::optional<Scene> world;
    FrameOutputKind output;
    std::uint32_t mode;
    std::uint64_t passes;
    bool worldLogged = false;
};

} // namespace verdanium
