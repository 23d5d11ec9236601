#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace verdanium {

// One linked GL program, built from the two sources "main.vertex" and
// "main.fragment" of a directory. It gives out only its GL name: users look up
// their own uniform and attribute locations, and the linker chooses them all.
//
// Bad or missing sources never throw: their messages and the GL logs go to
// standard error, and the program stays, linked or not.
class GlslProgram {
public:
    // The program of that directory, compiled on the first request and shared
    // through the program cache afterwards (keyed by the text as given).
    static std::shared_ptr<GlslProgram> load(std::string directory);

    // Compiles and links; needs the current GL context.
    explicit GlslProgram(const std::string& directory);
    ~GlslProgram();

    GlslProgram(const GlslProgram&) = delete;
    GlslProgram& operator=(const GlslProgram&) = delete;

    std::uint32_t handle = 0;
};

// The exact bytes of a file (carriage returns kept). A file that cannot be
// opened gives "Couldn't open file \"<path>\"" on standard error and an empty
// text; a short read gives "couldn't read the expected number of bytes from
// <path>" and whatever was read.
std::string readTextFile(const std::string& path);

} // namespace verdanium
