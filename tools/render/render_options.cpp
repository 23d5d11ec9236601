#include "render_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace verdanium {

namespace {

std::uint64_t parseCount(const std::string& option, const char* text, std::uint64_t maximum) {
    // strtoull accepts a sign and wraps negative numbers around; digits only are taken here.
    if (text[0] < '0' || text[0] > '9') {
        throw std::invalid_argument(option + " needs a whole number, not \"" + text + "\"");
    }
    errno = 0;
    char* end = nullptr;
    unsigned long long value = std::strtoull(text, &end, 10);
    if (*end != '\0' || errno == ERANGE || value > maximum) {
        throw std::invalid_argument(option + " needs a whole number up to " + std::to_string(maximum) +
                                    ", not \"" + text + "\"");
    }
    return value;
}

double parseSeconds(const std::string& option, const char* text) {
    char* end = nullptr;
    double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value < 0.0) {
        throw std::invalid_argument(option + " needs a number of seconds of at least 0, not \"" + text +
                                    "\"");
    }
    return value;
}

} // namespace

const char* renderUsage() {
    return "usage: verdanium-render [options]\n"
           "Renders the default scene without a window and writes the picture as a PNG file.\n"
           "\n"
           "  --mode N           render mode: 0 path trace, 1 fixed raster, 2 shader raster, 3 hybrid (3)\n"
           "  --time SECONDS     advance the flight to this time, then pause it (0)\n"
           "  --frames N         frames to render; a still scene converges over them (1)\n"
           "  --intersector N    0 our own hierarchy, otherwise Embree (1)\n"
           "  --depth N          greatest ray depth traced (5)\n"
           "  --bounces N        samples of the first bounce, 0 counts as 1 (3)\n"
           "  --threads N        0 no tracing, 1 the calling thread, more all pool threads (2)\n"
           "  --width W          picture width in pixels (640)\n"
           "  --height H         picture height in pixels (480)\n"
           "  --output FILE.png  where to write the picture (render.png)\n"
           "  --help             this text\n";
}

RenderOptions parseRenderOptions(int argc, char** argv) {
    RenderOptions options;
    constexpr std::uint64_t anyCount = std::numeric_limits<std::uint64_t>::max();
    // GL sizes are signed 32-bit; 16384 is beyond any framebuffer Mesa offers and keeps W x H x 16 bytes
    // sane.
    constexpr std::uint64_t largestSide = 16384;
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            options.help = true;
            continue;
        }
        if (i + 1 >= argc) {
            throw std::invalid_argument(option == "" || option.rfind("--", 0) != 0
                                            ? "unknown argument \"" + option + "\""
                                            : option + " needs a value");
        }
        const char* value = argv[++i];
        if (option == "--mode") {
            options.mode = static_cast<std::uint32_t>(parseCount(option, value, 3));
        } else if (option == "--time") {
            options.time = parseSeconds(option, value);
        } else if (option == "--frames") {
            options.frames = parseCount(option, value, anyCount);
        } else if (option == "--intersector") {
            options.intersector = parseCount(option, value, anyCount);
        } else if (option == "--depth") {
            options.depth = parseCount(option, value, anyCount);
        } else if (option == "--bounces") {
            options.bounces = parseCount(option, value, anyCount);
        } else if (option == "--threads") {
            options.threads = parseCount(option, value, anyCount);
        } else if (option == "--width") {
            options.width = static_cast<std::uint32_t>(parseCount(option, value, largestSide));
        } else if (option == "--height") {
            options.height = static_cast<std::uint32_t>(parseCount(option, value, largestSide));
        } else if (option == "--flight") {
            options.flight = static_cast<std::uint32_t>(parseCount(option, value, 1000));
        } else if (option == "--until") {
            options.until = parseSeconds(option, value);
        } else if (option == "--output") {
            options.output = value;
            if (options.output.empty()) {
                throw std::invalid_argument("--output needs a file name");
            }
        } else {
            throw std::invalid_argument("unknown option \"" + option + "\"");
        }
    }
    if (options.width == 0 || options.height == 0) {
        throw std::invalid_argument("--width and --height need at least 1 pixel");
    }
    return options;
}

} // namespace verdanium
