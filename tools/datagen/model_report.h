#pragma once

// What the generator says about each model it wrote, for its summary lines.

#include <string>

namespace verdanium::datagen {

struct ModelReport {
    std::string path;
    std::size_t triangles = 0;
    double radius = 0.0; // largest distance of a corner from the origin
};

} // namespace verdanium::datagen
