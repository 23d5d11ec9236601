#pragma once

#include "platform/offscreen_context.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <cstdint>
#include <vector>

namespace verdanium {

struct WindowSettings;

// The program's own window settings (8-bit colour and alpha, 24-bit depth, 8-bit stencil) at the given size.
WindowSettings headlessWindowSettings(std::uint32_t width, std::uint32_t height);

// Runs the world's fixed steps of 0.01 seconds until the flight has reached `seconds` (or paused itself at
// the end of the flight), then pauses it, so that later frames converge on a still scene.
void advanceFlightTo(Scene& scene, double seconds);

// The picture last drawn into the current context's framebuffer of the given size: 8-bit RGB, rows from the
// top.
std::vector<std::uint8_t> readRgbPixels(std::uint32_t width, std::uint32_t height);

// The program's renderer and default scene without a window: an off-screen GL context of the picture's size,
// then the renderer, then the scene, in the order the program builds them. Main thread only.
class HeadlessSession {
public:
    HeadlessSession(std::uint32_t width, std::uint32_t height);

    void advanceFlightTo(double seconds) { verdanium::advanceFlightTo(scene, seconds); }

    // The picture last drawn, 8-bit RGB, rows from the top.
    std::vector<std::uint8_t> readPixels() const { return readRgbPixels(context.width(), context.height()); }

    OffscreenContext context;
    RecursivePathTracer renderer;
    Scene scene;
};

} // namespace verdanium
