#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace verdanium {

// What verdanium-render is asked to do. The defaults are the program's own start settings at 640 x 480: one
// frame at flight time 0.
struct RenderOptions {
    std::uint32_t mode = 3;
    double time = 0.0;
    std::uint64_t frames = 1;
    std::uint64_t intersector = 1;
    std::uint64_t depth = 5;
    std::uint64_t bounces = 3;
    std::uint64_t threads = 2;
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::string output = "render.png";
    // Empty when not asked for.
    std::string exr;
    std::string reference;
    std::string convergence;
    // Seconds of rendering after which no new frame starts; 0 for no limit.
    double maxSeconds = 0.0;
    // Frames per second of a flight video; 0 renders one picture instead.
    std::uint32_t flight = 0;
    // Where a flight video ends, in seconds of flight.
    double until = 20.0;
};

// Adds the options that fill `options` to `app`, each with its range; `options` must outlive the parse.
void addRenderOptions(CLI::App& app, RenderOptions& options);

} // namespace verdanium
