#include "raster/texture.h"

#include "foundation/math/math_errors.h"
#include "raster/image.h"

namespace verdanium {

Vec3 sampleTexture(const Texture& texture, float u, float v) {
    const Image& image = *texture.image;
    // The wrap arithmetic divides by the image's size. An empty image (a missing
    // file) would be a division by zero; like every other division by zero of
    // the program it is reported as a math failure instead of faulting.
    if (image.width <= 0 || image.height <= 0)
        throwElementNotInvertible();
    // A file whose header was read but whose payload was refused leaves the size
    // set and no pixels: such a texture shows black rather than reading past
    // the array.
    if (image.pixels.size() != static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height))
        return Vec3{};
    return image.pixels[texelIndex(texture.wrapMode, image.width, image.height, u, v)];
}

} // namespace verdanium
