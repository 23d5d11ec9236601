#include "render_options.h"

#include "command_line.h"

namespace verdanium {

void addRenderOptions(CLI::App& app, RenderOptions& options) {
    // GL sizes are signed 32-bit; 16384 is beyond any framebuffer Mesa offers and keeps W x H x 16 bytes
    // sane.
    constexpr std::uint32_t largestSide = 16384;
    app.add_option("--mode", options.mode,
                   "render mode: 0 path trace, 1 fixed raster, 2 shader raster, 3 hybrid")
        ->check(wholeNumber(0, 3));
    app.add_option("--time", options.time, "advance the flight to this time in seconds, then pause it")
        ->check(finiteNumber(0.0));
    app.add_option("--frames", options.frames, "frames to render; a still scene converges over them")
        ->check(wholeNumber(1));
    app.add_option("--intersector", options.intersector, "0 our own hierarchy, 1 to 9 Embree's")
        ->check(wholeNumber(0, 9));
    app.add_option("--depth", options.depth, "greatest ray depth traced")->check(wholeNumber());
    app.add_option("--bounces", options.bounces, "samples of the first bounce, 0 counts as 1")
        ->check(wholeNumber());
    app.add_option("--threads", options.threads, "0 no tracing, 1 the calling thread, more all pool threads")
        ->check(wholeNumber());
    app.add_option("--width", options.width, "picture width in pixels")->check(wholeNumber(1, largestSide));
    app.add_option("--height", options.height, "picture height in pixels")
        ->check(wholeNumber(1, largestSide));
    const CLI::Validator fileName(
        [](const std::string& text) { return text.empty() ? std::string("a file name is needed") : ""; },
        "FILE");
    app.add_option(
           "--output", options.output,
           "where to write the picture as PNG; a --flight goes to a video (.mp4, .mkv; flight.mp4 when not "
           "given) or to numbered files (frame%04d.png, frame%04d.exr)")
        ->check(fileName);
    app.add_option("--exr", options.exr,
                   "also write the picture in linear light, 32-bit float RGB, as OpenEXR (none by default)")
        ->check(fileName);
    const char* referenceText = "an OpenEXR picture of the same size to compare the linear picture with "
                                "after every frame (none by default)";
    CLI::Option* reference =
        app.add_option("--reference", options.reference, referenceText)->check(CLI::ExistingFile);
    app.add_option(
           "--convergence", options.convergence,
           "write the error against the reference after every frame to this CSV file (none by default)")
        ->check(fileName)
        ->needs(reference);
    app.add_option(
           "--max-seconds", options.maxSeconds,
           "start no frame after this many seconds of rendering, 0 for no limit (--frames still counts)")
        ->check(finiteNumber(0.0));
    app.add_option("--flight", options.flight,
                   "render the flight from --time to --until at this many frames per second, each frame "
                   "converged over --frames; 0: one picture")
        ->check(wholeNumber(0, 1000));
    app.add_option("--until", options.until, "where a --flight ends, in seconds of flight")
        ->check(finiteNumber(0.0));
}

} // namespace verdanium
