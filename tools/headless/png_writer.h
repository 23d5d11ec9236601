#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace verdanium {

// Writes 8-bit RGB pixels, rows from the top, as a PNG file. Throws std::runtime_error with the path and the
// reason when the file cannot be written.
void writePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::vector<std::uint8_t>& rgb);

} // namespace verdanium
