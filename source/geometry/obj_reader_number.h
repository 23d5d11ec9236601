#pragma once

#include "geometry/obj_reader_text.h"

#include <cstdint>

// Numbers of OBJ and MTL lines, read from a TextCursor exactly as scanf reads them from a file: the same
// characters consumed, the same value stored, nothing stored when the conversion fails. Stop at the first
// failure, as a format of several conversions does.

namespace verdanium::obj_text {

// scanf's "%f": blanks skipped, then the longest text that glibc's conversion takes, rounded to the nearest
// float. False, with `value` untouched, when nothing converts.
bool readFloat(TextCursor& text, float* value);

// "%f %f" or "%f %f %f" (`count` 2 or 3): as many values as convert, in order; the rest are left untouched.
void readFloats(TextCursor& text, float* values, int count);

// scanf's "%d" into `value`; false, with `value` untouched, when nothing converts.
bool readInt(TextCursor& text, int32_t* value);

} // namespace verdanium::obj_text
