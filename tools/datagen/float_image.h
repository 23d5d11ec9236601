#pragma once

// A linear RGB float picture and its file form: "PF", the width, the height and
// a dummy line, each ended by a line feed, then width x height red, green, blue
// triples of little-endian 32-bit floats, rows from the top.

#include "vector_math.h"

#include <string>
#include <vector>

namespace verdanium::datagen {

struct FloatImage {
    int width = 0;
    int height = 0;
    std::vector<float> rgb; // 3 * width * height, row-major from the top row

    FloatImage(int w, int h) : width(w), height(h), rgb(static_cast<std::size_t>(w) * h * 3, 0.0f) {}

    void set(int x, int y, const Vector3& colour) {
        std::size_t i = (static_cast<std::size_t>(y) * width + x) * 3;
        rgb[i] = static_cast<float>(colour.x);
        rgb[i + 1] = static_cast<float>(colour.y);
        rgb[i + 2] = static_cast<float>(colour.z);
    }
};

// The complete file contents. Bytes are assembled explicitly in little-endian
// order, so the result does not depend on the host's byte order.
std::string encodePf(const FloatImage& image);

} // namespace verdanium::datagen
