// verdanium-render: the program's picture without a window. Builds the default scene in an off-screen GL
// context, optionally flies it to a given time and pauses it, renders a number of frames with the given
// settings and writes the last picture as a PNG file.
#include "flight_frames.h"
#include "flight_ranks.h"
#include "flight_run.h"
#include "flight_session.h"
#include "headless_session.h"
#include "png_writer.h"
#include "progress_bar.h"
#include "render_options.h"

#include "foundation/resource_cache.h"

#include <exception>
#include <iostream>

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
    RenderOptions options;
    try {
        options = parseRenderOptions(argc, argv);
    } catch (const std::invalid_argument& error) {
        std::cerr << "verdanium-render: " << error.what() << "\n\n" << renderUsage();
        return 2;
    }
    if (options.help) {
        std::cout << renderUsage();
        return 0;
    }
    int status = 1;
    try {
        if (options.flight != 0) {
            planFlightFrames(options.time, options.until, options.flight); // refuses an empty span
        }
    } catch (const std::invalid_argument& error) {
        std::cerr << "verdanium-render: " << error.what() << "\n\n" << renderUsage();
        return 2;
    }
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
