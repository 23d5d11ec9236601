#include "text_format.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace verdanium::datagen {

std::string formatFixed(double value, int decimals) {
    if (decimals < 0 || decimals > 9 || !std::isfinite(value)) {
        throw std::logic_error("formatFixed: unsupported value or precision");
    }
    std::int64_t scale = 1;
    for (int i = 0; i < decimals; ++i) {
        scale *= 10;
    }
    std::int64_t scaled = std::llround(value * static_cast<double>(scale));
    std::string text;
    if (scaled < 0) {
        text += '-';
        scaled = -scaled;
    }
    text += std::to_string(scaled / scale);
    if (decimals > 0) {
        std::string fraction = std::to_string(scaled % scale);
        text += '.';
        text.append(static_cast<std::size_t>(decimals) - fraction.size(), '0');
        text += fraction;
    }
    return text;
}

} // namespace verdanium::datagen
