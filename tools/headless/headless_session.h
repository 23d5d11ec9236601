#pragma once

#include "platform/offscreen_context.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <cstdint>
#include <vector>

namespace verdanium {

// The program's renderer and default scene without a window: an off-screen GL context of the picture's size,
// then the renderer, then the scene, in the order the program builds them. Main thread only.
class HeadlessSession {
public:
    HeadlessSession(std::uint32_t width, std::uint32_t height);

    // Runs the world's fixed steps of 0.01 seconds until the flight has reached `seconds` (or paused itself
    // at the end of the flight), then pauses it, so that later frames converge on a still scene.
    void advanceFlightTo(double seconds);

    // The picture last drawn, 8-bit RGB, rows from the top.
    std::vector<std::uint8_t> readPixels() const;

    OffscreenContext context;
    RecursivePathTracer renderer;
    Scene scene;
};

} // namespace verdanium
