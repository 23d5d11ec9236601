#include "flight_frames.h"

#include "world/random.h"

#include <cmath>
#include <stdexcept>

namespace verdanium {

FlightFrames planFlightFrames(double start, double until, std::uint32_t fps) {
    if (fps == 0) {
        throw std::invalid_argument("--flight needs at least 1 frame per second");
    }
    if (!(until > start)) {
        throw std::invalid_argument("--until must lie after --time: the flight from " +
                                    std::to_string(start) + " to " + std::to_string(until) +
                                    " seconds holds no frame");
    }
    // The last frame lies strictly before `until`; the small margin keeps a span that is a whole number of
    // frames (20 seconds at 30) from gaining one through rounding of the product.
    const double frames = (until - start) * fps;
    FlightFrames plan;
    plan.start = start;
    plan.fps = fps;
    plan.count = static_cast<std::uint64_t>(std::ceil(frames - 1e-9));
    if (plan.count == 0) {
        plan.count = 1;
    }
    return plan;
}

std::uint32_t frameSeed(std::uint64_t frame) {
    // Neighbouring seeds give unrelated sequences: the twister's seeding spreads every seed over its whole
    // state.
    return MersenneTwister::kDefaultSeed + static_cast<std::uint32_t>(frame);
}

} // namespace verdanium
