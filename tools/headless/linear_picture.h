#pragma once

#include <cstdint>
#include <vector>

namespace verdanium {

class RecursivePathTracer;

// A picture in linear light, before any gamma: 32-bit float red, green and blue per pixel, rows from the
// top, as in the PNG files the tools write.
struct LinearPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<float> rgb; // width * height * 3 values

    float* pixel(std::uint32_t x, std::uint32_t y) { return rgb.data() + (std::size_t(y) * width + x) * 3; }
    const float* pixel(std::uint32_t x, std::uint32_t y) const {
        return rgb.data() + (std::size_t(y) * width + x) * 3;
    }
};

// The linear picture of the renderer's last frame, by its mode: path tracing gives each pixel's running sum
// divided by its count (an unsampled pixel is black); hybrid gives what the composite computes, the surface
// colour times the traced light, unclamped and unquantised; the raster modes give the framebuffer as read.
// Needs the renderer's GL context current; main thread only.
LinearPicture readLinearPicture(const RecursivePathTracer& renderer);

} // namespace verdanium
