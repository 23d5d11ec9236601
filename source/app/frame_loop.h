#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace verdanium {

class Renderer;
class Scene;

// "[41 ms] Renderer": the frame time and the name of the current setting. The
// title carries no setting value and no frame rate.
std::string frameTitle(std::int32_t frameMilliseconds);

// The frame loop of the program: render, drain the event queue, catch the world
// up in fixed steps, write the title. The clock and the title are handed in, so
// that a test can drive time and read titles without a window.
class FrameLoop {
public:
    // simulationSeconds: seconds elapsed since the simulation started (main's
    // simulationClock), read before every fixed step. writeTitle: gives the text
    // to the window.
    FrameLoop(Renderer& renderer, Scene& scene, std::function<double()> simulationSeconds,
              std::function<void(const std::string&)> writeTitle);

    // Frames until gQuitRequested is seen at the head of a frame. A close request
    // seen during render still lets that frame finish, with its events, steps and
    // title.
    void run();

    // One frame; returns the number of fixed steps it ran.
    std::uint64_t runFrame();

    // Simulated seconds so far: a multiple of the step, separate from the scene's
    // flight time, which counts only unpaused steps.
    double simulatedTime() const { return simulatedSeconds; }

private:
    Renderer& renderer;
    Scene& scene;
    std::function<double()> simulationSeconds;
    std::function<void(const std::string&)> writeTitle;
    double simulatedSeconds = 0.0;
};

} // namespace verdanium
