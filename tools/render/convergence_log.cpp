#include "convergence_log.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace verdanium {

ConvergenceLog::ConvergenceLog(const std::string& path_) : path(path_), file(path_) {
    file << "frame,samples_per_pixel,seconds,rmse,relmse,psnr\n" << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

void ConvergenceLog::add(std::uint64_t frame, double samplesPerPixel, double seconds,
                         const PictureError& error) {
    // Nine significant digits: errors fall over decades, and a log-log plot needs their leading digits.
    char psnr[32] = "inf";
    if (!std::isinf(error.psnr)) {
        std::snprintf(psnr, sizeof psnr, "%.6f", error.psnr);
    }
    char row[256];
    std::snprintf(row, sizeof row, "%llu,%.9g,%.6f,%.9g,%.9g,%s\n", static_cast<unsigned long long>(frame),
                  samplesPerPixel, seconds, error.rmse, error.relmse, psnr);
    file << row << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace verdanium
