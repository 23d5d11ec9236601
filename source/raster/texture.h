#pragma once

#include "foundation/math/vec3.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace verdanium {

class Image;

// How texture coordinates outside [0, 1] fold back onto the image. Any other
// value behaves as WrapRepeat.
enum WrapMode : std::int32_t {
    WrapClamp = 0,
    WrapMirror = 1,
    WrapRepeat = 2,
};

// A shared image and the way it is addressed. A small value, copied freely:
// copies share the image.
struct Texture {
    std::shared_ptr<Image> image;
    WrapMode wrapMode = WrapRepeat;
};

// Position in Image::pixels of the texel nearest to (u, v), for an image of
// width by height texels (both at least 1). Rows are stored from the top, so v
// counts upward from the last row. No filtering: a lookup is one array access.
// Any finite or non-finite u and v give an index inside the image.
std::size_t texelIndex(WrapMode mode, std::int64_t width, std::int64_t height, float u, float v);

// The nearest texel's radiance. An image without pixels raises std::domain_error
// "element not invertible" (the wrap arithmetic would divide by its zero size);
// callers that may meet one, such as the material sampling, test for it first.
Vec3 sampleTexture(const Texture& texture, float u, float v);

} // namespace verdanium
