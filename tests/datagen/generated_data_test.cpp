// The generated data tree as the program reads it, through its own readers, which refuse every departure from
// the formats they take: a fresh run of the generator reproduces it, and every model is a closed surface.

#include "foundation/math/vec3.h"
#include "geometry/obj_reader.h"
#include "support/test_files.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace verdanium {
namespace {

std::filesystem::path dataRoot() {
#ifdef VERDANIUM_DATA_DIR
    return VERDANIUM_DATA_DIR;
#else
    return std::filesystem::path(VERDANIUM_SOURCE_DIR) / "data";
#endif
}

// The models the program loads, relative to the data tree: the five rocks first, then the ship's parts.
const std::vector<std::string>& modelFiles() {
    static const std::vector<std::string> files = {
        "models/asteroid/random/asteroid1.obj", "models/asteroid/random/asteroid2.obj",
        "models/asteroid/random/asteroid3.obj", "models/asteroid/random/asteroid4.obj",
        "models/asteroid/random/asteroid5.obj", "models/ship/serenity/Hull.obj",
        "models/ship/serenity/EngineL.obj",     "models/ship/serenity/EngineR.obj",
        "models/ship/serenity/EngineRotor.obj"};
    return files;
}

using Model = std::unique_ptr<ObjModel, void (*)(ObjModel*)>;

Model readModel(const std::string& file) {
    return Model(glmReadOBJ((dataRoot() / file).string().c_str()), glmFreeModel);
}

// Element i of the reader's 1-based arrays of three.
Vec3 element(const float* array, uint32_t i) {
    return {array[3 * i], array[3 * i + 1], array[3 * i + 2]};
}

// A fresh run of the generator into a scratch folder must reproduce the tree the build generated, byte for
// byte, and write everything the program loads.
TEST(Generator, ReproducesTheBuiltDataTreeByteForByte) {
#ifndef VERDANIUM_DATAGEN_PATH
    GTEST_SKIP() << "the generator's path is not known to this build";
#else
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("verdanium-datagen-test-" + std::to_string(getpid()));
    std::filesystem::remove_all(scratch);
    const std::string command =
        std::string("\"") + VERDANIUM_DATAGEN_PATH + "\" \"" + scratch.string() + "\" > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::size_t compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch)) {
        if (!entry.is_regular_file())
            continue;
        const std::filesystem::path relative = std::filesystem::relative(entry.path(), scratch);
        EXPECT_TRUE(readFile(entry.path()) == readFile(dataRoot() / relative)) << relative << " differs";
        ++compared;
    }
    std::filesystem::remove_all(scratch);
    EXPECT_GE(compared, modelFiles().size() * 2 + 1);
    for (const std::string& model : modelFiles())
        EXPECT_TRUE(std::filesystem::exists(dataRoot() / model)) << model;
    EXPECT_TRUE(std::filesystem::exists(dataRoot() / "backgrounds/orange/radiance.pbm"));
#endif
}

TEST(GeneratedModels, AreClosedWithoutHolesAndWoundOutward) {
    for (const std::string& file : modelFiles()) {
        SCOPED_TRACE(file);
        const Model model = readModel(file);
        // Equal positions share one "v" line, so a closed, consistently wound surface uses every directed
        // edge exactly once and its reverse exactly once.
        std::map<std::pair<uint32_t, uint32_t>, int> edges;
        double volume = 0;
        for (uint32_t t = 0; t < model->triangleCount; ++t) {
            const ObjTriangle& face = model->triangles[t];
            Vec3 p[3];
            for (int i = 0; i < 3; ++i) {
                ++edges[{face.vertexIndices[i], face.vertexIndices[(i + 1) % 3]}];
                p[i] = element(model->vertices, face.vertexIndices[i]);
            }
            const Vec3 area = cross(p[1] - p[0], p[2] - p[0]);
            volume += dot(p[0], cross(p[1], p[2]));
            // The tracer derives its normal from the winding; a zero-area triangle has none.
            ASSERT_GT(length(area), 1e-6f) << "degenerate triangle " << t;
            for (uint32_t n : face.normalIndices)
                EXPECT_GT(dot(element(model->normals, n), area), 0.0f)
                    << "normal against the winding, face " << t;
        }
        for (const auto& [edge, count] : edges) {
            ASSERT_EQ(count, 1) << "edge " << edge.first << "-" << edge.second << " used " << count
                                << " times";
            ASSERT_EQ(edges.count({edge.second, edge.first}), 1u)
                << "open edge " << edge.first << "-" << edge.second;
        }
        EXPECT_GT(volume, 0.0) << "surface wound inwards";
    }
}

} // namespace
} // namespace verdanium
