#pragma once

#include "geometry/obj_reader_text.h"

#include <cstdint>

// The corners of an OBJ face. Indices are read as text, in the manner of scanf's "%d" (blanks skipped, an
// optional sign, decimal digits) but without its undefined behaviour beyond the range of int: the value is
// kept wide enough to tell any number out of range, and the text as the file wrote it is kept for messages.

namespace verdanium::obj_text {

// One index of a corner. `text` points at the number as written (sign included) in the text it was read
// from, which outlives the face; a number longer than kBufferSize - 1 characters keeps only that many.
// `value` saturates far beyond the 32-bit range, so that every out-of-range number stays out of range.
struct CornerIndex {
    int64_t value;
    const char* text;
    int length;
};

// One face corner; kinds the form does not give, or that failed to convert, are 0 (written "0").
struct Corner {
    CornerIndex vertex;
    CornerIndex texCoord;
    CornerIndex normal;
};

// The form of a face, decided by its first corner and kept for all of its corners.
enum FaceForm {
    FaceFormVertexNormal,         // "%d//%d"
    FaceFormVertexTexCoordNormal, // "%d/%d/%d"
    FaceFormVertexTexCoord,       // "%d/%d"
    FaceFormVertex,               // "%d"
};

// The form of a face by its first corner's token: "//" anywhere, then three numbers with slashes, then two.
FaceForm faceFormOf(const char* token);

// Reads the corner in `token` in `form`; the corner's texts point into `token`.
void parseCorner(const char* token, FaceForm form, Corner* corner);

// Reads the next corner from the file's text in `form`; returns the number of indices converted (0 at a
// mismatch or at the end of the file). Like fscanf, it leaves the first character it could not use unread.
int readCorner(TextCursor& file, FaceForm form, Corner* corner);

} // namespace verdanium::obj_text
