#pragma once

#include "foundation/math/vec3.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace verdanium {

// A picture of linear RGB radiance in 32-bit floats, with a copy in a GL
// texture. The CPU array serves the path tracer; the texture serves the raster
// passes. Both are filled in one step when the file is read.
//
// The file format: "PF" on line 1, the width on line 2, the height on line 3,
// a line 4 that is ignored, then width x height x 3 little-endian floats (red,
// green, blue), row after row from the top, filling the rest of the file
// exactly. Lines end at a single line feed.
//
// Loading never throws: each failure writes one "error: ..." line on standard
// error and leaves the image partly filled (see the constructor); users look
// at width, height, pixels and textureId.
class Image {
public:
    // The image at that path, read on the first request and shared through the
    // image cache afterwards, failed loads included (keyed by the text as given).
    static std::shared_ptr<Image> load(std::string path);

    // An empty image: no pixels, no size, no texture.
    Image() = default;

    // Reads the file and uploads it; needs the current GL context for the
    // upload. Stops at the first bad header line, leaving what was read so far.
    explicit Image(const std::string& path);

    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // Makes the texture (or refreshes the existing one) from pixels: GL_RGB32F,
    // nearest filtering, repeat wrapping, no mipmaps. Leaves it bound to
    // GL_TEXTURE_2D. Does nothing, and calls no GL at all, when pixels is empty.
    void uploadTexture();

    // Deletes the texture, if any, and sets textureId to 0.
    void deleteTexture();

    std::vector<Vec3> pixels; // row-major in file order, the rows not flipped for GL
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::uint32_t textureId = 0;
};

} // namespace verdanium
