// verdanium-render: the program's picture without a window. Builds the default scene in an off-screen GL
// context, optionally flies it to a given time and pauses it, renders a number of frames with the given
// settings and writes the last picture as a PNG file.
#include "command_line.h"
#include "headless_session.h"
#include "png_writer.h"
#include "progress_bar.h"
#include "render_options.h"

#include "foundation/resource_cache.h"
#include "geometry/intersector_mode.h"

#include <exception>
#include <iostream>
#include <optional>

using namespace verdanium;

namespace {

int run(const RenderOptions& options) {
    HeadlessSession session(options.width, options.height);
    // The settings as the key commands would give them.
    gIntersectorMode = options.intersector != 0 ? 1 : 0;
    session.renderer.setRenderMode(options.mode);
    session.renderer.setMaxDepth(options.depth);
    session.renderer.setSecondaryBounceCount(options.bounces == 0 ? 1 : options.bounces);
    session.renderer.setCpuThreads(options.threads);
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
    int status = 1;
    try {
        status = run(options);
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
    } catch (...) {
        std::cerr << "exception: unknown" << std::endl;
    }
    // Meshes hold GL buffers and Embree scenes: emptied last, as the program does.
    gGeometryCache.clear();
    return status;
}
