#include "geometry/obj_reader_text.h"

#include "foundation/file_path.h"

#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace verdanium::obj_text {

static_assert(kBufferSize == 128, "the scan widths below are written for a 128-byte buffer");

bool readToken(FILE* file, char* buffer) {
    return std::fscanf(file, "%127s", buffer) == 1;
}

void skipLine(FILE* file) {
    int c;
    do {
        c = std::getc(file);
    } while (c != '\n' && c != EOF);
}

void readRestOfLine(FILE* file, char* buffer) {
    if (!std::fgets(buffer, kBufferSize, file))
        buffer[0] = '\0';
}

bool firstWord(const char* text, char* word) {
    return std::sscanf(text, "%127s", word) == 1;
}

FILE* openForReading(const char* path) {
    // Without blocking, so that a pipe with no writer can't hold the open; the file is then checked on the
    // very descriptor that will be read.
    const int descriptor = open(toOpenablePath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK) != 0) {
        close(descriptor);
        return nullptr;
    }
    FILE* file = fdopen(descriptor, "r");
    if (!file)
        close(descriptor);
    return file;
}

} // namespace verdanium::obj_text
