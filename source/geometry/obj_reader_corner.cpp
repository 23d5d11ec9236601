#include "geometry/obj_reader_corner.h"

#include <algorithm>
#include <cstring>

namespace verdanium::obj_text {

namespace {

// Far beyond any count of 32 bits, and far from overflowing when one more digit is added.
constexpr int64_t kSaturatedIndex = int64_t(1) << 40;

// Characters from a range of text, with one character of push-back, as scanf has. A token's range ends at
// its NUL; a file's text goes on through NUL bytes, as getc does.
class CharSource {
public:
    CharSource(const char* begin, const char* end_) : next(begin), end(end_) {}
    explicit CharSource(const char* token) : CharSource(token, token + std::strlen(token)) {}
    int get() { return next < end ? static_cast<unsigned char>(*next++) : EOF; }
    void unget(int c) {
        if (c != EOF)
            --next;
    }
    const char* position() const { return next; }

private:
    const char* next;
    const char* end;
};

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

void clear(CornerIndex* index) {
    index->value = 0;
    index->text = "0";
    index->length = 1;
}

// "%d": blanks, an optional sign, at least one digit. False, with nothing stored, when no digit comes.
bool scanIndex(CharSource& in, CornerIndex* index) {
    int c;
    do {
        c = in.get();
    } while (isBlank(c));
    const char* text = in.position() - 1;
    bool negative = false;
    if (c == '+' || c == '-') {
        negative = c == '-';
        c = in.get();
    }
    if (!isDigit(c)) {
        in.unget(c);
        return false;
    }
    int64_t value = 0;
    for (; isDigit(c); c = in.get())
        value = value < kSaturatedIndex ? value * 10 + (c - '0') : kSaturatedIndex;
    in.unget(c);
    index->value = negative ? -value : value;
    index->text = text;
    index->length = int(std::min<std::ptrdiff_t>(in.position() - text, kBufferSize - 1));
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
    const char* text = file.text.data();
    CharSource in(text + file.position, text + file.text.size());
    const int converted = scan(in, form, corner);
    file.position = size_t(in.position() - text);
    return converted;
}

} // namespace verdanium::obj_text
