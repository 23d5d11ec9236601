#include "geometry/obj_reader_number.h"

#include <charconv>
#include <cstdio>

namespace verdanium::obj_text {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Skips blanks; false when the text ends first, which is scanf's input failure before a conversion.
bool skipBlanks(TextCursor& text) {
    const std::string& all = text.text;
    while (text.position < all.size() && isBlank(static_cast<unsigned char>(all[text.position])))
        ++text.position;
    return text.position < all.size();
}

// Runs scanf's conversion `format` (one conversion) on the text from the position, through a stream over the
// text, and moves the position past what it consumed: the very rules of the C library, for the numbers that
// the plain form below leaves out. The text is not empty there.
template <typename Value>
bool readWithStdio(TextCursor& text, const char* format, Value* value) {
    char* start = text.text.data() + text.position;
    FILE* stream = fmemopen(start, text.text.size() - text.position, "r");
    if (!stream)
        return false;
    const bool converted = std::fscanf(stream, format, value) == 1;
    const long consumed = std::ftell(stream);
    std::fclose(stream);
    if (consumed > 0)
        text.position += std::size_t(consumed);
    return converted;
}

// The end of the plain decimal number at `p`, the form nearly every number of a model file has: an optional
// sign, digits with at most one point (at least one digit in all), an optional exponent of 'e' or 'E', an
// optional sign and digits, then a blank or the end of the text. Null when the text at `p` is of another
// form (hexadecimal, "inf", "nan", an exponent without digits, a letter or other sign right after the
// number). For this form scanf consumes exactly these characters and leaves the blank.
const char* plainDecimalEnd(const char* p, const char* end) {
    if (p < end && (*p == '+' || *p == '-'))
        ++p;
    const char* digits = p;
    while (p < end && isDigit(*p))
        ++p;
    std::ptrdiff_t count = p - digits;
    if (p < end && *p == '.') {
        const char* fraction = ++p;
        while (p < end && isDigit(*p))
            ++p;
        count += p - fraction;
    }
    if (count == 0)
        return nullptr;
    if (p < end && (*p == 'e' || *p == 'E')) {
        ++p;
        if (p < end && (*p == '+' || *p == '-'))
            ++p;
        const char* exponent = p;
        while (p < end && isDigit(*p))
            ++p;
        if (p == exponent)
            return nullptr;
    }
    if (p < end && !isBlank(static_cast<unsigned char>(*p)))
        return nullptr;
    return p;
}

} // namespace

bool readFloat(TextCursor& text, float* value) {
    if (!skipBlanks(text))
        return false;
    const char* start = text.text.data() + text.position;
    const char* end = text.text.data() + text.text.size();
    // Why from_chars: per number it costs a small part of what scanf costs, and it rounds correctly to the
    // nearest float as glibc's conversion does, so that the same text gives the same bits. It reports
    // results that overflow or underflow to zero as out of range (where scanf stores an infinity or a zero);
    // those, like every other form, take the C library's own way.
    if (const char* numberEnd = plainDecimalEnd(start, end)) {
        float parsed;
        const char* digits = *start == '+' ? start + 1 : start;
        const auto [stop, error] = std::from_chars(digits, numberEnd, parsed, std::chars_format::general);
        if (error == std::errc() && stop == numberEnd) {
            *value = parsed;
            text.position += std::size_t(numberEnd - start);
            return true;
        }
    }
    return readWithStdio(text, "%f", value);
}

void readFloats(TextCursor& text, float* values, int count) {
    for (int i = 0; i < count && readFloat(text, &values[i]); ++i) {
    }
}

bool readInt(TextCursor& text, int32_t* value) {
    if (!skipBlanks(text))
        return false;
    int parsed = 0;
    if (!readWithStdio(text, "%d", &parsed))
        return false;
    *value = parsed;
    return true;
}

} // namespace verdanium::obj_text
