#include "picture_error.h"

#include <cmath>
#include <stdexcept>

namespace verdanium {

PictureError comparePictures(const LinearPicture& picture, const LinearPicture& reference) {
    if (picture.width != reference.width || picture.height != reference.height ||
        picture.rgb.size() != reference.rgb.size()) {
        throw std::invalid_argument("comparePictures: the pictures differ in size");
    }
    // Sums in double: a 640 x 480 picture has almost a million terms.
    double squared = 0.0;
    double relative = 0.0;
    for (std::size_t i = 0; i < picture.rgb.size(); ++i) {
        const double difference = double(picture.rgb[i]) - double(reference.rgb[i]);
        const double expected = reference.rgb[i];
        squared += difference * difference;
        relative += difference * difference / (expected * expected + 0.01);
    }
    const double count = picture.rgb.empty() ? 1.0 : double(picture.rgb.size());
    PictureError error;
    const double mse = squared / count;
    error.rmse = std::sqrt(mse);
    error.relmse = relative / count;
    error.psnr = mse > 0.0 ? -10.0 * std::log10(mse) : INFINITY;
    return error;
}

} // namespace verdanium
