#include "float_image.h"

#include <cstdint>
#include <cstring>

namespace verdanium::datagen {

std::string encodePf(const FloatImage& image) {
    // The dummy line holds the customary scale of the format, negative for
    // little-endian; readers of this format discard it.
    std::string bytes = "PF\n" + std::to_string(image.width) + "\n" + std::to_string(image.height) + "\n-1\n";
    std::size_t header = bytes.size();
    bytes.resize(header + image.rgb.size() * 4);
    char* out = bytes.data() + header;
    for (float value : image.rgb) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        for (int b = 0; b < 4; ++b) {
            *out++ = static_cast<char>((bits >> (8 * b)) & 0xffU);
        }
    }
    return bytes;
}

} // namespace verdanium::datagen
