// verdanium-render: the program's picture without a window. Builds the default scene in an off-screen GL
// context, optionally flies it to a given time and pauses it, renders a number of frames with the given
// settings and writes the last picture as a PNG file, and in linear light as OpenEXR if asked. Given a
// reference picture, it measures the error of every frame against it. With --flight it renders the flight as
// a video or as numbered files instead, spread over the ranks when started under mpirun.
#include "command_line.h"
#include "convergence_log.h"
#include "exr_file.h"
#include "flight_frames.h"
#include "flight_ranks.h"
#include "flight_run.h"
#include "flight_session.h"
#include "frame_output.h"
#include "headless_session.h"
#include "picture_error.h"
#include "png_writer.h"
#include "progress_bar.h"
#include "render_options.h"

#include "foundation/resource_cache.h"

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
    applyRenderSettings(session.renderer, options);
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

// A flight's own checks of the command line, before MPI starts and before any work: a span that holds no
// frame, an output that is neither a video nor numbered files, or an option of single pictures is a usage
// error. A flight without --output goes to flight.mp4.
std::optional<int> checkFlightOptions(const CLI::App& app, RenderOptions& options) {
    if (options.flight == 0) {
        return std::nullopt;
    }
    if (app.count("--output") == 0) {
        options.output = "flight.mp4";
    }
    try {
        for (const char* single : {"--exr", "--reference", "--convergence", "--max-seconds"}) {
            if (app.count(single) != 0) {
                throw std::invalid_argument(std::string(single) +
                                            " belongs to single pictures, not to --flight");
            }
        }
        planFlightFrames(options.time, options.until, options.flight);
        frameOutputKind(options.output);
    } catch (const std::invalid_argument& error) {
        std::cerr << app.get_name() << ": " << error.what() << "\nRun " << app.get_name()
                  << " --help for the options.\n";
        return kUsageErrorStatus;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Renders the default scene without a window and writes the picture as a PNG file, and in "
        "linear light as OpenEXR if asked, measuring it against a reference picture if given one; or "
        "renders the flight as a video or numbered files (--flight).",
        "verdanium-render");
    prepareToolApp(app);
    RenderOptions options;
    addRenderOptions(app, options);
    if (const std::optional<int> status = parseCommandLine(app, argc, argv)) {
        return *status;
    }
    if (const std::optional<int> status = checkFlightOptions(app, options)) {
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
        if (options.flight != 0) {
            FlightRanks ranks(argc, argv);
            status = renderFlight(options, ranks);
        } else {
            status = run(options, reference);
        }
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
    } catch (...) {
        std::cerr << "exception: unknown" << std::endl;
    }
    // Meshes hold GL buffers and Embree scenes: emptied last, as the program does.
    gGeometryCache.clear();
    return status;
}
