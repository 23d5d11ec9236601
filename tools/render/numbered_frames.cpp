#include "numbered_frames.h"

#include "png_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace verdanium {

NumberedPngFrames::NumberedPngFrames(std::string pattern_, std::uint32_t width_, std::uint32_t height_)
    : pattern(std::move(pattern_)), width(width_), height(height_) {
    // Creating the first frame's partial file proves that its folder exists and takes files.
    const std::string first = numberedFileName(pattern, 0);
    const std::string probe = partialFileName(first);
    std::FILE* file = std::fopen(probe.c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error("cannot write " + first + ": " + std::strerror(errno));
    }
    std::fclose(file);
    std::remove(probe.c_str());
}

void NumberedPngFrames::write(std::uint64_t frame, const std::vector<std::uint8_t>& rgb) {
    const std::string path = numberedFileName(pattern, frame);
    const std::string partial = partialFileName(path);
    try {
        writePng(partial, width, height, rgb);
    } catch (...) {
        std::remove(partial.c_str());
        throw;
    }
    moveIntoPlace(partial, path);
}

} // namespace verdanium
