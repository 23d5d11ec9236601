#pragma once

#include "frame_output.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace verdanium {

// Takes the frames of a flight in order, as bytes in the layout its kind takes (takesLinearPixels), and
// writes them to the output. Opening a sink checks that the output can be written, so that a bad name is
// refused before any frame is rendered. Nothing appears under the user's name until it is whole: a video is
// renamed into place by finish, a numbered file as soon as it is written. A sink destroyed before finish
// removes its partial file.
class FrameSink {
public:
    virtual ~FrameSink() = default;

    virtual void write(std::uint64_t frame, const std::vector<std::uint8_t>& pixels) = 0;
    virtual void finish() = 0;
};

// Opens the sink for an output name of the given kind. Throws std::runtime_error when the output cannot be
// written, std::invalid_argument when the picture's size does not suit it.
std::unique_ptr<FrameSink> openFrameSink(const std::string& output, FrameOutputKind kind, std::uint32_t width,
                                         std::uint32_t height, std::uint32_t fps);

} // namespace verdanium
