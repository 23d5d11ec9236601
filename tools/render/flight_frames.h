#pragma once

#include <cstdint>

namespace verdanium {

// The video frames of a flight: frame k shows the flight at start + k / fps, for every k whose time lies
// before `until`, so that a video of `count` frames at `fps` lasts exactly from start to until.
struct FlightFrames {
    double start = 0.0;
    std::uint32_t fps = 1;
    std::uint64_t count = 0;

    double timeOf(std::uint64_t frame) const { return start + static_cast<double>(frame) / fps; }
};

// The frames from `start` to `until` seconds at `fps` frames per second. Throws std::invalid_argument with a
// message for the user when that span holds no frame (until not after start) or fps is 0.
FlightFrames planFlightFrames(double start, double until, std::uint32_t fps);

// The generator's seed for a video frame: derived from the frame number alone, so that a frame's samples do
// not depend on which process rendered it or what it rendered before.
std::uint32_t frameSeed(std::uint64_t frame);

// The rank that renders a frame when `ranks` processes share a flight: in turn, so that every rank's frames
// are spread over the whole flight and the ranks deliver them to the writer at about the same pace.
inline int frameOwner(std::uint64_t frame, int ranks) {
    return static_cast<int>(frame % static_cast<std::uint64_t>(ranks));
}

} // namespace verdanium
