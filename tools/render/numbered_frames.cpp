#include "numbered_frames.h"

#include "exr_file.h"
#include "png_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace verdanium {

NumberedFrames::NumberedFrames(std::string pattern_, FrameOutputKind kind_, std::uint32_t width_,
                               std::uint32_t height_)
    : pattern(std::move(pattern_)), kind(kind_), width(width_), height(height_) {
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

void NumberedFrames::write(std::uint64_t frame, const std::vector<std::uint8_t>& pixels) {
    const std::string path = numberedFileName(pattern, frame);
    const std::string partial = partialFileName(path);
    try {
        if (takesLinearPixels(kind)) {
            LinearPicture picture;
            picture.width = width;
            picture.height = height;
            picture.rgb.resize(static_cast<std::size_t>(width) * height * 3);
            if (pixels.size() != picture.rgb.size() * sizeof(float)) {
                throw std::logic_error("NumberedFrames: pixel count does not match the size");
            }
            std::memcpy(picture.rgb.data(), pixels.data(), pixels.size());
            writeExr(partial, picture);
        } else {
            writePng(partial, width, height, pixels);
        }
    } catch (...) {
        std::remove(partial.c_str());
        throw;
    }
    moveIntoPlace(partial, path);
}

} // namespace verdanium
