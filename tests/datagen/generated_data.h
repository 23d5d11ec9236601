#pragma once

// The generated data tree as the data tests see it. They read it through the program's own readers, which
// refuse every departure from the formats they take, so that they check what the program will actually get.

#include "foundation/math/vec3.h"
#include "geometry/obj_reader.h"

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

} // namespace verdanium::datagen_test
