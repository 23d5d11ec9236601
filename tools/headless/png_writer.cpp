#include "png_writer.h"

#include <png.h>

#include <cstdio>
#include <stdexcept>

namespace verdanium {

namespace {

// libpng reports failures by longjmp out of its calls; a C++ exception thrown from its error callback unwinds
// through C frames instead, which is undefined. So errors are kept here and the setjmp path reports them.
void recordError(png_structp png, png_const_charp message) {
    auto* text = static_cast<std::string*>(png_get_error_ptr(png));
    *text = message;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

} // namespace

void writePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::vector<std::uint8_t>& rgb) {
    if (rgb.size() != static_cast<std::size_t>(width) * height * 3) {
        throw std::logic_error("writePng: pixel count does not match the size");
    }
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error("cannot open " + path + " for writing");
    }
    std::string error;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, recordError, ignoreWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        throw std::runtime_error("cannot write " + path + ": libpng could not start");
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        throw std::runtime_error("cannot write " + path + ": " + error);
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (std::uint32_t row = 0; row < height; ++row) {
        png_write_row(png, rgb.data() + static_cast<std::size_t>(row) * width * 3);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(file) != 0) {
        throw std::runtime_error("cannot write " + path + ": the file did not close cleanly");
    }
}

} // namespace verdanium
