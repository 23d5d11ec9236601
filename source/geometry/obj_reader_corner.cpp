#include "geometry/obj_reader_corner.h"

#include <cctype>
#include <cstring>

namespace verdanium::obj_text {

namespace {

// Far beyond any count of 32 bits, and far from overflowing when one more digit is added.
constexpr int64_t kSaturatedIndex = int64_t(1) << 40;

// Characters from a file's text or from a token, with one character of push-back, as scanf has. A token
// ends at its NUL; a file's text goes on through NUL bytes, as getc does.
class CharSource {
public:
    explicit CharSource(TextCursor& file_) : file(&file_) {}
    explicit CharSource(const char* text_) : text(text_) {}
    int get() {
        if (file)
            return file->get();
        return text[position] ? static_cast<unsigned char>(text[position++]) : EOF;
    }
    void unget(int c) {
        if (c == EOF)
            return;
        if (file)
            file->unget(c);
        else
            --position;
    }

private:
    TextCursor* file = nullptr;
    const char* text = nullptr;
    size_t position = 0;
};

void clear(CornerIndex* index) {
    index->value = 0;
    std::strcpy(index->text, "0");
}

// "%d": blanks, an optional sign, at least one digit. False, with nothing stored, when no digit comes.
bool scanIndex(CharSource& in, CornerIndex* index) {
    int c;
    do {
        c = in.get();
    } while (c != EOF && std::isspace(c));
    char text[kBufferSize];
    size_t length = 0;
    bool negative = false;
    if (c == '+' || c == '-') {
        negative = c == '-';
        text[length++] = char(c);
        c = in.get();
    }
    if (c == EOF || !std::isdigit(c)) {
        in.unget(c);
        return false;
    }
    int64_t value = 0;
    for (; c != EOF && std::isdigit(c); c = in.get()) {
        if (length < sizeof text - 1)
            text[length++] = char(c);
        value = value < kSaturatedIndex ? value * 10 + (c - '0') : kSaturatedIndex;
    }
    in.unget(c);
    text[length] = '\0';
    index->value = negative ? -value : value;
    std::memcpy(index->text, text, length + 1);
    return true;
}

const char* formatOf(FaceForm form) {
    switch (form) {
    case FaceFormVertexNormal:
        return "%d//%d";
    case FaceFormVertexTexCoordNormal:
        return "%d/%d/%d";
    case FaceFormVertexTexCoord:
        return "%d/%d";
    case FaceFormVertex:
        break;
    }
    return "%d";
}

// Matches `format` ("%d" conversions and literal characters) the way scanf does, storing the conversions in
// order into `targets`; returns how many converted.
int scanCorner(CharSource& in, const char* format, CornerIndex* const targets[3]) {
    int converted = 0;
    for (const char* f = format; *f; ++f) {
        if (f[0] == '%' && f[1] == 'd') {
            if (!scanIndex(in, targets[converted]))
                return converted;
            ++converted;
            ++f;
            continue;
        }
        const int c = in.get();
        if (c != *f) {
            in.unget(c);
            return converted;
        }
    }
    return converted;
}

// Where a form's conversions go, in the order its format converts them.
int scan(CharSource& in, FaceForm form, Corner* corner) {
    clear(&corner->vertex);
    clear(&corner->texCoord);
    clear(&corner->normal);
    CornerIndex* targets[3] = {&corner->vertex, &corner->texCoord, &corner->normal};
    if (form == FaceFormVertexNormal)
        targets[1] = &corner->normal;
    return scanCorner(in, formatOf(form), targets);
}

} // namespace

FaceForm faceFormOf(const char* token) {
    if (std::strstr(token, "//"))
        return FaceFormVertexNormal;
    Corner unused;
    CharSource threeNumbers(token);
    if (scan(threeNumbers, FaceFormVertexTexCoordNormal, &unused) == 3)
        return FaceFormVertexTexCoordNormal;
    CharSource twoNumbers(token);
    if (scan(twoNumbers, FaceFormVertexTexCoord, &unused) == 2)
        return FaceFormVertexTexCoord;
    return FaceFormVertex;
}

void parseCorner(const char* token, FaceForm form, Corner* corner) {
    CharSource in(token);
    scan(in, form, corner);
}

int readCorner(TextCursor& file, FaceForm form, Corner* corner) {
    CharSource in(file);
    return scan(in, form, corner);
}

} // namespace verdanium::obj_text
