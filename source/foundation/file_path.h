#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace verdanium {

// Data paths are written with Windows separators as well as forward slashes,
// and the text is kept exactly as given for cache keys and messages. Only at
// the moment a file is opened does every backslash become a forward slash.
std::string toOpenablePath(std::string_view path);

// Opens path (in the form above) for binary reading. Only a regular file (or a
// link to one) is opened; anything else is refused like a missing file: a
// directory has no "length" and no read of it works, a device such as
// /dev/zero never ends, and opening a pipe waits for a writer that may never
// come. The check precedes the open, since opening a pipe is what would block.
bool openForBinaryReading(std::ifstream& file, std::string_view path);

} // namespace verdanium
