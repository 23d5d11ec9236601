#include "exr_file.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>

#include <exception>
#include <stdexcept>

namespace verdanium {

namespace {

// The three channels interleaved in `rgb`, whose first pixel sits at the data window's corner `(x0, y0)`.
Imf::FrameBuffer interleavedSlices(float* rgb, int x0, int y0, std::size_t width) {
    const std::size_t xStride = 3 * sizeof(float);
    const std::size_t yStride = width * xStride;
    // OpenEXR addresses pixel (x, y) at base + x * xStride + y * yStride, so the base is moved back by the
    // corner; the arithmetic is done on integers since such a pointer lies outside the array.
    const auto base = reinterpret_cast<std::intptr_t>(rgb) - std::intptr_t(x0) * std::intptr_t(xStride) -
                      std::intptr_t(y0) * std::intptr_t(yStride);
    Imf::FrameBuffer frameBuffer;
    const char* names[3] = {"R", "G", "B"};
    for (int channel = 0; channel < 3; ++channel) {
        frameBuffer.insert(names[channel],
                           Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(base + channel * sizeof(float)),
                                      xStride, yStride, 1, 1, 0.0));
    }
    return frameBuffer;
}

} // namespace

void writeExr(const std::string& path, const LinearPicture& picture) {
    try {
        Imf::Header header(int(picture.width), int(picture.height));
        for (const char* name : {"R", "G", "B"}) {
            header.channels().insert(name, Imf::Channel(Imf::FLOAT));
        }
        // OpenEXR's default line order runs down from the top row, as the picture's rows do.
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(interleavedSlices(const_cast<float*>(picture.rgb.data()), 0, 0, picture.width));
        file.writePixels(int(picture.height));
    } catch (const std::exception& error) {
        throw std::runtime_error("cannot write " + path + ": " + error.what());
    }
}

LinearPicture readExr(const std::string& path) {
    try {
        Imf::InputFile file(path.c_str());
        const Imath::Box2i window = file.header().dataWindow();
        LinearPicture picture;
        picture.width = std::uint32_t(window.max.x - window.min.x + 1);
        picture.height = std::uint32_t(window.max.y - window.min.y + 1);
        picture.rgb.assign(std::size_t(picture.width) * picture.height * 3, 0.0f);
        file.setFrameBuffer(interleavedSlices(picture.rgb.data(), window.min.x, window.min.y, picture.width));
        file.readPixels(window.min.y, window.max.y);
        return picture;
    } catch (const std::exception& error) {
        throw std::runtime_error("cannot read " + path + ": " + error.what());
    }
}

} // namespace verdanium
