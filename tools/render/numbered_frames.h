#pragma once

#include "frame_sink.h"

namespace verdanium {

// One PNG or OpenEXR file per frame, named by a printf-style frame number. Each file is written under a
// partial name and renamed when complete, so a failed run leaves only whole frames.
class NumberedFrames : public FrameSink {
public:
    // Throws std::runtime_error when the folder of the first frame's file cannot be written.
    NumberedFrames(std::string pattern, FrameOutputKind kind, std::uint32_t width, std::uint32_t height);

    void write(std::uint64_t frame, const std::vector<std::uint8_t>& pixels) override;
    void finish() override {}

private:
    std::string pattern;
    FrameOutputKind kind;
    std::uint32_t width;
    std::uint32_t height;
};

} // namespace verdanium
