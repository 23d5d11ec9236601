// verdanium: an interactive path tracer. The program entry builds the window, the
// renderer and the scene, in that order (entities and shaders need the GL
// context), runs the frame loop until the window is asked to close, and takes
// everything down in reverse. It takes no command-line arguments.

#include "app/frame_loop.h"
#include "app/program_paths.h"
#include "app/program_window.h"
#include "app/stopwatch.h"
#include "foundation/resource_cache.h"
#include "platform/window.h"
#include "tracer/recursive_path_tracer.h"
#include "world/scene.h"

#include <exception>
#include <iostream>

namespace verdanium {
namespace {

// Publishes the program's stopwatch for event time stamps while it lives.
class ProgramStopwatch {
public:
    ProgramStopwatch() {
        stopwatch.start();
        gStopwatch = &stopwatch;
    }
    ~ProgramStopwatch() { gStopwatch = nullptr; }
    ProgramStopwatch(const ProgramStopwatch&) = delete;
    ProgramStopwatch& operator=(const ProgramStopwatch&) = delete;

private:
    Stopwatch stopwatch;
};

// Everything between start-up and teardown. The automatic objects go in reverse
// order of construction: scene, renderer, window, then the start-up records.
void runProgram() {
    const ProgramPaths paths;
    const StartTimestamp startTime;
    const ProgramStopwatch programStopwatch;
    const WindowSettings settings = programWindowSettings();
    Window window(settings);
    RecursivePathTracer tracer(window, settings);
    Renderer& renderer = tracer;
    Scene scene;

    // Started after the scene, so that loading time never shows as a burst of steps.
    Stopwatch simulationClock;
    simulationClock.start();
    FrameLoop frameLoop(
        renderer, scene, [&simulationClock] { return simulationClock.elapsed(); },
        [&tracer](const std::string& title) { tracer.window->setTitle(title); });
    frameLoop.run();
}

} // namespace
} // namespace verdanium

int main() {
    using namespace verdanium;
    try {
        runProgram();
        // Meshes are released last, after the GL context has gone.
        gGeometryCache.clear();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
    } catch (...) {
        std::cerr << "exception: unknown" << std::endl;
    }
    gGeometryCache.clear();
    return 1;
}
