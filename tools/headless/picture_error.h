#pragma once

#include "linear_picture.h"

namespace verdanium {

// How far a picture lies from a reference, over every channel of every pixel.
struct PictureError {
    double rmse = 0.0;   // root of the mean squared difference
    double relmse = 0.0; // mean of the squared difference over (the reference's value squared + 0.01)
    double psnr = 0.0; // peak signal to noise for a peak of 1 (values in [0, 1]), in dB; infinite when equal
};

// Compares two pictures of the same size (std::invalid_argument otherwise).
PictureError comparePictures(const LinearPicture& picture, const LinearPicture& reference);

} // namespace verdanium
