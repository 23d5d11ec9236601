// verdanium-render: the program's picture without a window. Builds the default scene in an off-screen GL
// context, optionally flies it to a given time and pauses it, renders a number of frames with the given
// settings and writes the last picture as a PNG file, and in linear light as OpenEXR if asked. Given a
// reference picture, it measures the error of every frame against it.
#include "command_line.h"
#include "convergence_log.h"
#include "exr_file.h"
#include "headless_session.h"
#include "picture_error.h"
#include "png_writer.h"
#include "progress_bar.h"
#include "render_options.h"

#include "foundation/resource_cache.h"
#include "geometry/intersector_mode.h"

#include <GL/glew.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>

using namespace verdanium;

namespace {

// The samples behind the most sampled pixel: the frame count in path tracing, frames times bounces in
// hybrid mode, 0 in the raster modes.
double samplesPerPixel(const RecursivePathTracer& renderer) {
    float most = 0.0f;
    for (const Vec4& sum : renderer.accumulation) {
        most = std::max(most, sum.w);
    }
    return most;
}

int run(const RenderOptions& options, const std::optional<LinearPicture>& reference) {
    HeadlessSession session(options.width, options.height);
    // The settings as the key commands would give them.
    gIntersectorMode = options.intersector != 0 ? 1 : 0;
    session.renderer.setRenderMode(options.mode);
    session.renderer.setMaxDepth(options.depth);
    session.renderer.setSecondaryBounceCount(options.bounces == 0 ? 1 : options.bounces);
    session.renderer.setCpuThreads(options.threads);
    session.advanceFlightTo(options.time);

    std::optional<ConvergenceLog> log;
    if (!options.convergence.empty()) {
        log.emplace(options.convergence);
    }
    std::optional<PictureError> error;
    // Only the frames are timed: reading the picture back and comparing it would slow the curve of a run
    // by what measuring it costs.
    double renderingSeconds = 0.0;
    std::uint64_t frame = 0;
    ProgressBar progress("rendering", options.frames);
    progress.update(0);
    while (frame < options.frames && (options.maxSeconds == 0.0 || renderingSeconds < options.maxSeconds)) {
        const auto start = std::chrono::steady_clock::now();
        session.renderer.render(session.scene);
        glFinish();
        renderingSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++frame;
        if (reference) {
            error = comparePictures(readLinearPicture(session.renderer), *reference);
            if (log) {
                log->add(frame, samplesPerPixel(session.renderer), renderingSeconds, *error);
            }
        }
        progress.update(frame);
    }
    progress.finish();
    writePng(options.output, options.width, options.height, session.readPixels());
    std::cout << "wrote " << options.output << '\n';
    if (!options.exr.empty()) {
        writeExr(options.exr, readLinearPicture(session.renderer));
        std::cout << "wrote " << options.exr << '\n';
    }
    std::printf("rendered %llu frames in %.3f s", static_cast<unsigned long long>(frame), renderingSeconds);
    if (error) {
        std::printf(": rmse %.6g relmse %.6g psnr %.3f dB", error->rmse, error->relmse, error->psnr);
    }
    std::printf("\n");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Renders the default scene without a window and writes the picture as a PNG file, and in "
                 "linear light as OpenEXR if asked; measures it against a reference picture if given one.",
                 "verdanium-render");
    prepareToolApp(app);
    RenderOptions options;
    addRenderOptions(app, options);
    if (const std::optional<int> status = parseCommandLine(app, argc, argv)) {
        return *status;
    }
    // The reference is read and checked before any work, so that a wrong one costs no rendering.
    std::optional<LinearPicture> reference;
    if (!options.reference.empty()) {
        try {
            reference = readExr(options.reference);
        } catch (const std::exception& error) {
            std::cerr << "verdanium-render: " << error.what() << '\n';
            return kUsageErrorStatus;
        }
        if (reference->width != options.width || reference->height != options.height) {
            std::cerr << "verdanium-render: the reference " << options.reference << " is " << reference->width
                      << " x " << reference->height << " pixels, but the picture is " << options.width
                      << " x " << options.height << "; give --width and --height of the reference\n";
            return kUsageErrorStatus;
        }
    }
    int status = 1;
    try {
        status = run(options, reference);
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
    } catch (...) {
        std::cerr << "exception: unknown" << std::endl;
    }
    // Meshes hold GL buffers and Embree scenes: emptied last, as the program does.
    gGeometryCache.clear();
    return status;
}
