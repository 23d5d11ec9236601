#include "app/frame_loop.h"

#include "app/event_dispatch.h"
#include "app/fixed_steps.h"
#include "app/program_flags.h"
#include "app/stopwatch.h"
#include "platform/event.h"
#include "tracer/renderer.h"
#include "world/scene.h"

#include <utility>

namespace verdanium {

std::string frameTitle(std::int32_t frameMilliseconds) {
    std::string title = "[";
    title += std::to_string(frameMilliseconds);
    title += " ms] ";
    title += gSettingNames[gCurrentSetting];
    return title;
}

FrameLoop::FrameLoop(Renderer& renderer_, Scene& scene_, std::function<double()> simulationSeconds_,
                     std::function<void(const std::string&)> writeTitle_)
    : renderer(renderer_), scene(scene_), simulationSeconds(std::move(simulationSeconds_)),
      writeTitle(std::move(writeTitle_)) {}

void FrameLoop::run() {
    while (!gQuitRequested)
        runFrame();
}

std::uint64_t FrameLoop::runFrame() {
    Stopwatch frameClock;
    frameClock.start();

    // Rendering pumps the window's messages, which fill the queue; the queue is
    // drained only here, so handlers never run inside the message pump.
    renderer.render(scene);
    while (!gEventQueue.empty()) {
        dispatchEvent(gEventQueue.front(), scene, renderer);
        gEventQueue.pop_front();
    }

    const std::uint64_t steps =
        runFixedSteps(simulatedSeconds, simulationSeconds, [this](double step) { scene.update(step); });

    frameClock.stop();
    // Covers rendering, events and steps together, truncated towards zero.
    const auto frameMilliseconds = static_cast<std::int32_t>(frameClock.elapsed() * 1000.0);
    writeTitle(frameTitle(frameMilliseconds));
    return steps;
}

} // namespace verdanium
