// libFuzzer target for the float-image reader. Each input is an image file. The reader never ends the
// program, so the input runs in this process; any sanitizer report or signal is a crash.
//
// No GL context is made: the library's calls without one do nothing, so an image that reads well reports
// that it got no texture name, which is the reader's own outcome for that case.

#include "foundation/resource_cache.h"
#include "raster/image.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <unistd.h>

namespace verdanium {

// The one table that the image unit names; the target loads by constructing images, never through it.
ResourceCache<Image> gImageCache;

} // namespace verdanium

namespace {

std::string imagePath() {
    return "/tmp/verdanium-fuzz-image-" + std::to_string(getpid()) + ".pbm";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = imagePath();
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);
    verdanium::Image image(path);
    // The state table: a loaded image has every pixel; a failed one has none.
    if (!image.pixels.empty() && image.pixels.size() != size_t(image.width) * size_t(image.height))
        __builtin_trap();
    return 0;
}
