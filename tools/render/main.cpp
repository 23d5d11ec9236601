// verdanium-render: the program's picture without a window. Builds the default scene in an off-screen GL
// context, optionally flies it to a given time and pauses it, renders a number of frames with the given
// settings and writes the last picture as a PNG file. With --flight it renders the flight as a video or as
// numbered files instead, spread over the ranks when started under mpirun.
#include "command_line.h"
#include "flight_frames.h"
#include "flight_ranks.h"
#include "flight_run.h"
#include "flight_session.h"
#include "frame_output.h"
#include "headless_session.h"
#include "png_writer.h"
#include "progress_bar.h"
#include "render_options.h"

#include "foundation/resource_cache.h"

#include <exception>
#include <iostream>
#include <optional>

using namespace verdanium;

namespace {

int run(const RenderOptions& options) {
    HeadlessSession session(options.width, options.height);
    applyRenderSettings(session.renderer, options);
    session.advanceFlightTo(options.time);

    ProgressBar progress("rendering", options.frames);
    progress.update(0);
    for (std::uint64_t frame = 0; frame < options.frames; ++frame) {
        session.renderer.render(session.scene);
        progress.update(frame + 1);
    }
    progress.finish();
    writePng(options.output, options.width, options.height, session.readPixels());
    std::cout << "wrote " << options.output << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Renders the default scene without a window and writes the picture as a PNG file.",
                 "verdanium-render");
    prepareToolApp(app);
    RenderOptions options;
    addRenderOptions(app, options);
    if (const std::optional<int> status = parseCommandLine(app, argc, argv)) {
        return *status;
    }
    if (options.flight != 0) {
        if (app.count("--output") == 0) {
            options.output = "flight.mp4";
        }
        // A flight that holds no frame, or an output that is neither a video nor numbered files, is a bad
        // command line too: refused before MPI starts and before any work.
        try {
            planFlightFrames(options.time, options.until, options.flight);
            frameOutputKind(options.output);
        } catch (const std::invalid_argument& error) {
            std::cerr << app.get_name() << ": " << error.what() << "\nRun " << app.get_name()
                      << " --help for the options.\n";
            return kUsageErrorStatus;
        }
    }
    int status = 1;
    try {
        if (options.flight != 0) {
            FlightRanks ranks(argc, argv);
            status = renderFlight(options, ranks);
        } else {
            status = run(options);
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
