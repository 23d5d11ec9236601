#pragma once

#include "frame_sink.h"

namespace verdanium {

// One PNG file per frame, named by a printf-style frame number. Each file is written under a partial name
// and renamed when complete, so a failed run leaves only whole frames.
class NumberedPngFrames : public FrameSink {
public:
    // Throws std::runtime_error when the folder of the first frame's file cannot be written.
    NumberedPngFrames(std::string pattern, std::uint32_t width, std::uint32_t height);

    void write(std::uint64_t frame, const std::vector<std::uint8_t>& rgb) override;
    void finish() override {}

private:
    std::string pattern;
    std::uint32_t width;
    std::uint32_t height;
};

} // namespace verdanium
