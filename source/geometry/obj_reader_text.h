#pragma once

#include <cstdio>

// Text primitives shared by the OBJ and MTL readers. Both read a token with "%s" and a line's rest with
// fgets into one buffer of this size, which limits any rest of a line and any name.

namespace verdanium::obj_text {

constexpr int kBufferSize = 128;

// Reads the next blank-separated token into `buffer` (at most kBufferSize - 1 characters; a longer token
// is split in two). Returns false at the end of the file.
bool readToken(FILE* file, char* buffer);

// Consumes everything up to and including the next end of line.
void skipLine(FILE* file);

// Reads the rest of the current line into `buffer` with fgets; an empty text at the end of the file.
void readRestOfLine(FILE* file, char* buffer);

// Copies the first blank-separated word of `text` into `word` (both kBufferSize long); false if none.
bool firstWord(const char* text, char* word);

// Opens a regular file for text reading; anything else (a directory, a device, a pipe) is refused like a
// missing file, since a device such as /dev/zero never ends and a pipe need never be written. Paths may be
// written with Windows separators; only here, at the moment of opening, does every backslash become a forward
// slash, so that callers keep and report the text as given.
FILE* openForReading(const char* path);

} // namespace verdanium::obj_text
