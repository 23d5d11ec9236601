#include "geometry/obj_reader_text.h"

#include "foundation/file_path.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace verdanium::obj_text {

bool readToken(TextCursor& text, char* buffer) {
    const std::string& all = text.text;
    std::size_t at = text.position;
    while (at < all.size() && isBlank(static_cast<unsigned char>(all[at])))
        ++at;
    std::size_t length = 0;
    while (at < all.size() && length < kBufferSize - 1 && !isBlank(static_cast<unsigned char>(all[at])))
        buffer[length++] = all[at++];
    text.position = at;
    buffer[length] = '\0';
    return length > 0;
}

void skipLine(TextCursor& text) {
    const std::string& all = text.text;
    const void* lineFeed = std::memchr(all.data() + text.position, '\n', all.size() - text.position);
    text.position = lineFeed ? std::size_t(static_cast<const char*>(lineFeed) - all.data()) + 1 : all.size();
}

void readRestOfLine(TextCursor& text, char* buffer) {
    const std::string& all = text.text;
    std::size_t length = 0;
    while (text.position < all.size() && length < kBufferSize - 1) {
        const char c = all[text.position++];
        buffer[length++] = c;
        if (c == '\n')
            break;
    }
    buffer[length] = '\0';
}

bool firstWord(const char* text, char* word) {
    static_assert(kBufferSize == 128, "the scan width below is written for a 128-byte buffer");
    return std::sscanf(text, "%127s", word) == 1;
}

bool readTextFile(const char* path, TextCursor& text) {
    // Without blocking, so that a pipe with no writer can't hold the open; the file is then checked on the
    // very descriptor that will be read.
    const int descriptor = open(toOpenablePath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return false;
    }
    // Read until the end, whatever the size said: a file that changes meanwhile is read as it then stands.
    text.text.clear();
    text.position = 0;
    text.text.resize(std::size_t(status.st_size) + 1);
    std::size_t filled = 0;
    for (;;) {
        if (filled == text.text.size())
            text.text.resize(text.text.size() * 2);
        const ssize_t got = read(descriptor, text.text.data() + filled, text.text.size() - filled);
        if (got > 0)
            filled += std::size_t(got);
        else if (got == 0 || errno != EINTR)
            break;
    }
    text.text.resize(filled);
    close(descriptor);
    return true;
}

} // namespace verdanium::obj_text
