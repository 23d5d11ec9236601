#include "flight_session.h"

#include "flight_frames.h"
#include "headless_session.h"
#include "linear_picture.h"

#include "geometry/intersector_mode.h"
#include "platform/window.h"
#include "world/random.h"

#include <cstring>
#include <iostream>

namespace verdanium {

namespace {

// Sends standard output nowhere while it lives, when asked to.
class MutedConsole {
public:
    explicit MutedConsole(bool mute) : saved(mute ? std::cout.rdbuf(nullptr) : nullptr) {}
    // Handing the buffer back also clears the failure state that writing to no buffer set.
    ~MutedConsole() {
        if (saved != nullptr) {
            std::cout.rdbuf(saved);
        }
    }

    MutedConsole(const MutedConsole&) = delete;
    MutedConsole& operator=(const MutedConsole&) = delete;

private:
    std::streambuf* saved;
};

} // namespace

void applyRenderSettings(RecursivePathTracer& renderer, const RenderOptions& options) {
    gIntersectorMode = options.intersector != 0 ? 1 : 0;
    renderer.setRenderMode(options.mode);
    renderer.setMaxDepth(options.depth);
    renderer.setSecondaryBounceCount(options.bounces == 0 ? 1 : options.bounces);
    renderer.setCpuThreads(options.threads);
}

FlightSession::FlightSession(const RenderOptions& options)
    : context(options.width, options.height), renderer(headlessWindowSettings(options.width, options.height)),
      output(frameOutputKind(options.output)), mode(options.mode), passes(options.frames) {
    applyRenderSettings(renderer, options);
}

std::vector<std::uint8_t> FlightSession::renderFrame(std::uint64_t frame, double seconds) {
    // The old world goes first, so that two never hold GL objects at once.
    world.reset();
    {
        MutedConsole quiet(worldLogged);
        gRandom.seed(MersenneTwister::kDefaultSeed);
        world.emplace();
    }
    worldLogged = true;
    advanceFlightTo(*world, seconds);

    gRandom.seed(frameSeed(frame));
    // Setting the mode restarts the sums even if the new world's change count matches the last frame's.
    renderer.setRenderMode(mode);
    for (std::uint64_t pass = 0; pass < passes; ++pass) {
        renderer.render(*world);
    }
    if (!takesLinearPixels(output)) {
        return readRgbPixels(context.width(), context.height());
    }
    const LinearPicture picture = readLinearPicture(renderer);
    std::vector<std::uint8_t> bytes(picture.rgb.size() * sizeof(float));
    std::memcpy(bytes.data(), picture.rgb.data(), bytes.size());
    return bytes;
}

} // namespace verdanium
