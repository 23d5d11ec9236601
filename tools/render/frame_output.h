#pragma once

#include <cstdint>
#include <string>

namespace verdanium {

// Where the frames of a flight go, told by the output name: a whole video (a name ending in .mp4 or .mkv),
// or one file per frame (a name with one printf-style frame number such as %d or %04d, ending in .png or
// .exr).
enum class FrameOutputKind { Video, PngFiles, ExrFiles };

// The pixels a frame travels and is written in, rows from the top: 8-bit RGB for pictures to look at (PNG,
// video), 32-bit float RGB in linear light (native byte order) for OpenEXR.
inline bool takesLinearPixels(FrameOutputKind kind) {
    return kind == FrameOutputKind::ExrFiles;
}

// Reads an output name. Throws std::invalid_argument with a message for the user when the name is neither
// kind, or holds more than one frame number or a conversion other than %d, %Nd, %0Nd and %%.
FrameOutputKind frameOutputKind(const std::string& name);

// The file name of a frame: the pattern with its frame number filled in (and %% made %). The pattern must
// have passed frameOutputKind as one of the numbered kinds.
std::string numberedFileName(const std::string& pattern, std::uint64_t frame);

// A name in the same folder as `path` under which a file is written before it is renamed to `path`, so that
// a run that fails never leaves a half-written file under the name the user gave. Unique to this process.
std::string partialFileName(const std::string& path);

// Renames a finished partial file to its real name. On failure the partial file is removed and
// std::runtime_error says why.
void moveIntoPlace(const std::string& partial, const std::string& path);

} // namespace verdanium
