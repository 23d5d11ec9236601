#include "raster/image.h"

#include "foundation/file_path.h"
#include "foundation/resource_cache.h"

#include <GL/glew.h>

#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <type_traits>

#include <sys/mman.h>
#include <unistd.h>

namespace verdanium {

// The payload is read in one bulk read straight into pixels, so a pixel must be
// exactly the file's three packed floats.
static_assert(sizeof(Vec3) == 3 * sizeof(float) && std::is_trivially_copyable_v<Vec3>);

std::shared_ptr<Image> Image::load(std::string path) {
    return gImageCache.load(std::move(path));
}

namespace {

void reportError(const std::string& text) {
    std::cerr << "error: " << text << std::endl;
}

// Header lines are read with a bound, so that a file with no line feed in sight can't grow a line without
// limit. The text kept of a line longer than `limit` is its first `limit` characters.
enum class HeaderLine { Read, TooLong, Missing };

HeaderLine readHeaderLine(std::istream& file, std::string& line, std::size_t limit) {
    line.clear();
    bool any = false;
    for (int c; (c = file.get()) != std::char_traits<char>::eof();) {
        any = true;
        if (c == '\n')
            return HeaderLine::Read;
        if (line.size() == limit)
            return HeaderLine::TooLong;
        line.push_back(static_cast<char>(c));
    }
    return any ? HeaderLine::Read : HeaderLine::Missing;
}

// Lines 2 to 4: what follows the number, or the whole dummy line, is thrown away however long it is.
constexpr std::size_t kHeaderLineLimit = 4096;

bool readLongHeaderLine(std::istream& file, std::string& line) {
    const HeaderLine read = readHeaderLine(file, line, kHeaderLineLimit);
    if (read == HeaderLine::TooLong)
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    return read != HeaderLine::Missing;
}

// One header line holding a count: the line is read, then one decimal
// integer is extracted (blanks before it skipped, anything after it ignored).
// Zero when the line is missing, not a number, out of 32-bit range or below 1.
std::int32_t readCountLine(std::istream& file) {
    std::string line;
    if (!readLongHeaderLine(file, line))
        return 0;
    std::istringstream parser(line);
    std::int32_t value = 0;
    if (!(parser >> value) || value < 1)
        return 0;
    return value;
}

// Decimal text of a byte count that may exceed 64 bits (two 31-bit sides times 12).
std::string decimal(unsigned __int128 value) {
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return digits;
}

// Asks the kernel to back the whole pages of [data, data + bytes) with memory now, in one call. Why: a
// payload lands in fresh memory, and faulting it in a page at a time on first write costs about a third
// more than this (the 18 MB background is some 4,600 pages). Only a hint: where the call is not known,
// the pages come in on first write as before, and nothing else changes.
void populatePages(void* data, std::size_t bytes) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(data);
    const std::uintptr_t first = (begin + page - 1) / page * page;
    const std::uintptr_t last = (begin + bytes) / page * page;
    if (first < last)
        madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
}

// Runs deleteTexture when the upload is left before it completes.
class TextureGuard {
public:
    explicit TextureGuard(Image& image_) : image(image_) {}
    ~TextureGuard() {
        if (armed)
            image.deleteTexture();
    }
    void dismiss() { armed = false; }

private:
    Image& image;
    bool armed = true;
};

} // namespace

Image::Image(const std::string& path) {
    std::string quoted = "\"" + path + "\"";
    std::ifstream file;
    if (!openForBinaryReading(file, path)) {
        reportError("could not open " + quoted + ".");
        return;
    }
    // Binary mode: a line ends at a line feed alone, so "PF\r" is three bytes and refused.
    // Anything longer than the two letters is refused without reading further.
    std::string format;
    if (readHeaderLine(file, format, 2) != HeaderLine::Read || format != "PF") {
        reportError("could not read format string in " + quoted + ".");
        return;
    }
    width = readCountLine(file);
    if (width == 0) {
        reportError("could not read image width in " + quoted + ".");
        return;
    }
    height = readCountLine(file);
    if (height == 0) {
        reportError("could not read image height in " + quoted + ".");
        return;
    }
    std::string dummy;
    if (!readLongHeaderLine(file, dummy)) {
        reportError("could not read dummy line in " + quoted + ".");
        return;
    }
    // A last line without a line feed leaves end-of-file set, which would make
    // tellg fail; the position is then simply the end.
    file.clear();
    std::streamoff payloadStart = file.tellg();
    file.seekg(0, std::ios::end);
    std::streamoff found = file.tellg() - payloadStart;
    unsigned __int128 pixelCount = static_cast<unsigned __int128>(width) * static_cast<std::uint64_t>(height);
    unsigned __int128 expected = pixelCount * sizeof(Vec3);
    if (found < 0 || static_cast<unsigned __int128>(found) != expected) {
        reportError("expected " + decimal(expected) + " bytes of data in " + quoted + " but found " +
                    std::to_string(found) + ".");
        return;
    }
    file.seekg(payloadStart, std::ios::beg);
    pixels.reserve(static_cast<std::size_t>(pixelCount));
    populatePages(pixels.data(), static_cast<std::size_t>(found));
    pixels.resize(static_cast<std::size_t>(pixelCount));
    if (!file.read(reinterpret_cast<char*>(pixels.data()), found))
        reportError("could not read the expected number of bytes from " + quoted + ".");
    uploadTexture();
}

Image::~Image() {
    deleteTexture();
    pixels.clear();
    pixels.shrink_to_fit();
}

void Image::uploadTexture() {
    if (pixels.empty())
        return;
    TextureGuard guard(*this);
    if (textureId == 0) {
        GLuint name = 0;
        glGenTextures(1, &name);
        textureId = name;
    }
    if (textureId == 0) {
        // The wording is fixed as it stands, whichever image failed.
        reportError("could create texture ID for background.");
        return;
    }
    glBindTexture(GL_TEXTURE_2D, textureId);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    // A float internal format keeps the unclamped radiance of the array.
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB32F, static_cast<GLsizei>(width), static_cast<GLsizei>(height), 0,
                 GL_RGB, GL_FLOAT, pixels.data());
    guard.dismiss();
}

void Image::deleteTexture() {
    if (textureId == 0)
        return;
    GLuint name = textureId;
    glDeleteTextures(1, &name);
    textureId = 0;
}

} // namespace verdanium
