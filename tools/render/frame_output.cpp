#include "frame_output.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace verdanium {

namespace {

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A frame-number conversion found in a pattern: its place and length, and the field width with its fill.
struct NumberField {
    std::size_t at = std::string::npos;
    std::size_t length = 0;
    std::size_t width = 0;
    bool zeroFill = false;
};

// Finds the one %d-style field of a pattern; throws on any other conversion or a second field.
NumberField findNumberField(const std::string& pattern) {
    NumberField field;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            continue;
        }
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        const bool zeroFill = j < pattern.size() && pattern[j] == '0';
        std::size_t width = 0;
        while (j < pattern.size() && pattern[j] >= '0' && pattern[j] <= '9' && width < 100) {
            width = width * 10 + static_cast<std::size_t>(pattern[j] - '0');
            ++j;
        }
        if (j >= pattern.size() || pattern[j] != 'd' || width >= 100) {
            throw std::invalid_argument(
                "--output \"" + pattern +
                "\": a frame number is written %d, %4d or %04d (and a percent sign %%)");
        }
        if (field.at != std::string::npos) {
            throw std::invalid_argument("--output \"" + pattern + "\" holds more than one frame number");
        }
        field = {i, j + 1 - i, width, zeroFill};
        i = j;
    }
    return field;
}

} // namespace

FrameOutputKind frameOutputKind(const std::string& name) {
    const NumberField field = findNumberField(name);
    if (field.at == std::string::npos) {
        if (endsWith(name, ".mp4") || endsWith(name, ".mkv")) {
            return FrameOutputKind::Video;
        }
        throw std::invalid_argument("--output \"" + name +
                                    "\": a flight goes to a video (.mp4, .mkv) or to numbered files such as "
                                    "frame%04d.png or frame%04d.exr");
    }
    if (endsWith(name, ".png")) {
        return FrameOutputKind::PngFiles;
    }
    if (endsWith(name, ".exr")) {
        return FrameOutputKind::ExrFiles;
    }
    throw std::invalid_argument("--output \"" + name +
                                "\": numbered frames are written as .png or .exr files");
}

std::string numberedFileName(const std::string& pattern, std::uint64_t frame) {
    const NumberField field = findNumberField(pattern);
    std::string number = std::to_string(frame);
    if (number.size() < field.width) {
        number = std::string(field.width - number.size(), field.zeroFill ? '0' : ' ') + number;
    }
    std::string name;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (i == field.at) {
            name += number;
            i += field.length - 1;
        } else {
            name += pattern[i];
            i += pattern[i] == '%' ? 1 : 0;
        }
    }
    return name;
}

std::string partialFileName(const std::string& path) {
    const std::filesystem::path final(path);
    // A hidden name that keeps the real one visible in it, so that a file left by a killed run explains
    // itself.
    std::string name = ".";
    name += final.filename().string();
    name += ".partial-";
    name += std::to_string(getpid());
    return (final.parent_path() / name).string();
}

void moveIntoPlace(const std::string& partial, const std::string& path) {
    std::error_code error;
    std::filesystem::rename(partial, path, error);
    if (error) {
        const std::string reason = error.message();
        std::filesystem::remove(partial, error);
        throw std::runtime_error("cannot write " + path + ": " + reason);
    }
}

} // namespace verdanium
