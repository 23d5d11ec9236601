#pragma once

#include "picture_error.h"

#include <cstdint>
#include <fstream>
#include <string>

namespace verdanium {

// A CSV file of the error after every frame, one row per frame under a header that names the columns:
// frame, samples_per_pixel, seconds, rmse, relmse, psnr. An infinite PSNR (a picture equal to its
// reference) is written "inf".
class ConvergenceLog {
public:
    // Creates the file and writes the header; throws std::runtime_error when it cannot.
    explicit ConvergenceLog(const std::string& path);

    // Appends one row and flushes it, so that a run stopped early keeps its rows; throws on a write error.
    void add(std::uint64_t frame, double samplesPerPixel, double seconds, const PictureError& error);

private:
    std::string path;
    std::ofstream file;
};

} // namespace verdanium
