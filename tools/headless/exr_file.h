#pragma once

#include "linear_picture.h"

#include <string>

namespace verdanium {

// Writes `picture` as an OpenEXR file of three 32-bit float channels R, G and B, first row at the top.
// Throws std::runtime_error with the path and the reason when the file cannot be written.
void writeExr(const std::string& path, const LinearPicture& picture);

// Reads the R, G and B channels of an OpenEXR file as 32-bit floats (a missing channel reads as zero).
// Throws std::runtime_error with the path and the reason when the file cannot be read.
LinearPicture readExr(const std::string& path);

} // namespace verdanium
