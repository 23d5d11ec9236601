#pragma once

// The generated data tree as the data tests see it: the models read through the program's own OBJ reader
// (what the program will actually get), and a strict reader of the float image format that names the first
// departure from it.

#include "foundation/math/vec3.h"
#include "geometry/obj_reader.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace verdanium::datagen_test {

inline std::filesystem::path dataRoot() {
#ifdef VERDANIUM_DATA_DIR
    return VERDANIUM_DATA_DIR;
#else
    return std::filesystem::path(VERDANIUM_SOURCE_DIR) / "data";
#endif
}

// The models the program loads, relative to the data tree: the five rocks first, then the ship's parts.
inline const std::vector<std::string>& modelFiles() {
    static const std::vector<std::string> files = {
        "models/asteroid/random/asteroid1.obj", "models/asteroid/random/asteroid2.obj",
        "models/asteroid/random/asteroid3.obj", "models/asteroid/random/asteroid4.obj",
        "models/asteroid/random/asteroid5.obj", "models/ship/serenity/Hull.obj",
        "models/ship/serenity/EngineL.obj",     "models/ship/serenity/EngineR.obj",
        "models/ship/serenity/EngineRotor.obj"};
    return files;
}
constexpr std::size_t kAsteroidCount = 5;

inline std::string readFile(const std::filesystem::path& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

using Model = std::unique_ptr<ObjModel, void (*)(ObjModel*)>;

inline Model readModel(const std::string& file) {
    return Model(glmReadOBJ((dataRoot() / file).string().c_str()), glmFreeModel);
}

// Element i of the reader's 1-based arrays of three.
inline Vec3 element(const float* array, uint32_t i) {
    return {array[3 * i], array[3 * i + 1], array[3 * i + 2]};
}

// The file that a map_Kd path names, seen from the program's working folder three levels below the
// repository; empty where the path does not start there.
inline std::filesystem::path resolveTexture(const std::string& mapPath) {
    const std::string prefix = "../../../data/";
    return mapPath.rfind(prefix, 0) == 0 ? dataRoot() / mapPath.substr(prefix.size())
                                         : std::filesystem::path();
}

struct PfImage {
    int width = 0;
    int height = 0;
    std::vector<float> rgb;
    std::string problem; // empty when the file is well formed
};

// "PF", the width, the height and a dummy line, each ended by a line feed, then exactly width x height x 3
// little-endian floats (this machine's order).
inline PfImage readPf(const std::filesystem::path& path) {
    PfImage image;
    const std::string bytes = readFile(path);
    std::istringstream in(bytes);
    std::string format, width, height, dummy;
    if (!std::getline(in, format) || format != "PF")
        image.problem = "line 1 is not exactly PF";
    else if (!std::getline(in, width) || !std::getline(in, height) || !std::getline(in, dummy) || in.eof())
        image.problem = "header lines missing";
    if (!image.problem.empty())
        return image;
    image.width = std::atoi(width.c_str());
    image.height = std::atoi(height.c_str());
    const std::size_t start = static_cast<std::size_t>(in.tellg());
    const std::size_t expected = std::size_t(image.width) * image.height * 12;
    if (width != std::to_string(image.width) || height != std::to_string(image.height) || image.width < 1 ||
        image.height < 1)
        image.problem = "width or height is not a plain positive number";
    else if (bytes.size() - start != expected)
        image.problem = "payload of " + std::to_string(bytes.size() - start) + " bytes, expected " +
                        std::to_string(expected);
    else {
        image.rgb.resize(expected / 4);
        std::memcpy(image.rgb.data(), bytes.data() + start, expected);
    }
    return image;
}

} // namespace verdanium::datagen_test
