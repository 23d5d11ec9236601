#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace verdanium {

// Data paths are written with Windows separators as well as forward slashes,
// and the text is kept exactly as given for cache keys and messages. Only at
// the moment a file is opened does every backslash become a forward slash.
std::string toOpenablePath(std::string_view path);

// Opens path (in the form above) for binary reading. A directory is refused
// like a missing file: opening one succeeds on Linux, but its "length" is
// meaningless and no read of it works.
bool openForBinaryReading(std::ifstream& file, std::string_view path);

} // namespace verdanium
