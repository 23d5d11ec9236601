#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

// Text primitives shared by the OBJ and MTL readers. A file is read into memory once, and both passes walk
// that text with the rules of the C standard input functions they stand for: a token as "%s" reads it, a
// line's rest as fgets reads it, into one buffer of kBufferSize, which limits any rest of a line and any
// name. Every byte counts as a character, a NUL byte included, as getc would return it.

namespace verdanium::obj_text {

constexpr int kBufferSize = 128;

// A file's whole text and a read position in it, which plays the part of a FILE's position.
struct TextCursor {
    std::string text;
    std::size_t position = 0;
};

// The blanks of scanf in the C locale, the program's only one: space, tab, line feed, vertical tab, form
// feed and carriage return.
inline bool isBlank(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads the next blank-separated token into `buffer` (at most kBufferSize - 1 characters; a longer token
// is split in two). Returns false at the end of the text.
bool readToken(TextCursor& text, char* buffer);

// Consumes everything up to and including the next line feed.
void skipLine(TextCursor& text);

// Reads the rest of the current line, its line feed included, into `buffer` as fgets does: at most
// kBufferSize - 1 characters; an empty text at the end.
void readRestOfLine(TextCursor& text, char* buffer);

// Copies the first blank-separated word of `text` into `word` (both kBufferSize long); false if none.
bool firstWord(const char* text, char* word);

// Reads the regular file at `path` whole into `text`, its position at the start; false when it can't be
// opened. Anything but a regular file (a directory, a device, a pipe) is refused like a missing file, since
// a device such as /dev/zero never ends and a pipe need never be written. Paths may be written with Windows
// separators; only here, at the moment of opening, does every backslash become a forward slash, so that
// callers keep and report the text as given.
bool readTextFile(const char* path, TextCursor& text);

} // namespace verdanium::obj_text
