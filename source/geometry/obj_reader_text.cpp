#include "geometry/obj_reader_text.h"

#include "foundation/file_path.h"

#include <cstring>
#include <string>

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
    return std::fopen(toOpenablePath(path).c_str(), "r");
}

} // namespace verdanium::obj_text
