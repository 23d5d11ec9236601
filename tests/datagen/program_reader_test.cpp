// The generated models read through the program's own OBJ and MTL reader: what
// the program will actually get from them.

#include "generated_data.h"
#include "geometry/geometry.h"
#include "geometry/obj_reader.h"
#include "support/gl_test_context.h"

#include <gtest/gtest.h>

#include <memory>

namespace verdanium::datagen_test {
namespace {

TEST(ProgramReader, GetsFullFacesAndATextureForEveryTriangle) {
    for (const std::string& file : modelFiles()) {
        ObjFile reference = parseObj(dataRoot() / file);
        std::string path = (dataRoot() / file).string();
        std::unique_ptr<ObjModel, void (*)(ObjModel*)> model(glmReadOBJ(path.c_str()), glmFreeModel);
        ASSERT_NE(model, nullptr) << file;

        EXPECT_EQ(model->triangleCount, reference.faces.size()) << file;
        EXPECT_EQ(model->groupCount, reference.groups.size() + 1) << file << ": the implicit group and ours";
        for (std::uint32_t t = 0; t < model->triangleCount; ++t) {
            const ObjTriangle& triangle = model->triangles[t];
            for (int c = 0; c < 3; ++c) {
                ASSERT_NE(triangle.texCoordIndices[c], 0u) << file;
                ASSERT_NE(triangle.normalIndices[c], 0u) << file;
            }
            // Material 0 is the reader's implicit default, which has no texture.
            ASSERT_GT(triangle.material, 0u) << file;
            ASSERT_LT(triangle.material, model->materialCount) << file;
            const char* map = model->materials[triangle.material].diffuseMap;
            ASSERT_NE(map, nullptr) << file;
        }
        for (std::uint32_t m = 1; m < model->materialCount; ++m) {
            const char* map = model->materials[m].diffuseMap;
            ASSERT_NE(map, nullptr) << file;
            EXPECT_TRUE(std::filesystem::is_regular_file(resolveTexture(dataRoot(), map))) << map;
        }
    }
}

TEST(ProgramReader, BuildsMeshesOfTheIntendedSizes) {
    VERDANIUM_REQUIRE_GL();
    // The program recentres rocks on the mean of their corners; their radius
    // there is the one the generator chose, and the ship keeps its hull space.
    const double rockRadii[] = {16.0, 24.0, 33.0, 45.0, 58.0};
    for (std::size_t i = 0; i < modelFiles().size(); ++i) {
        const std::string& file = modelFiles()[i];
        Geometry mesh((dataRoot() / file).string());
        ASSERT_EQ(mesh.positions.size(), 3 * mesh.triangleMaterials.size()) << file;
        ASSERT_FALSE(mesh.positions.empty()) << file;
        if (i < asteroidFiles().size()) {
            EXPECT_NEAR(mesh.radiusBounds.upper.x, rockRadii[i], 0.01) << file;
        }
        for (std::uint64_t material : mesh.triangleMaterials) {
            ASSERT_GT(material, 0u) << file;
            ASSERT_LT(material, mesh.materials.size()) << file;
        }
    }
}

} // namespace
} // namespace verdanium::datagen_test
