// The generated models read through the program's own OBJ and MTL reader: what
// the program will actually get from them.

#include "generated_data.h"
#include "geometry/obj_reader.h"

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

} // namespace
} // namespace verdanium::datagen_test
