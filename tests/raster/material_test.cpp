#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/image.h"
#include "raster/material.h"
#include "support/gl_test_context.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

namespace verdanium {
namespace {

std::string writeTexture(const std::string& name) {
    const std::string path = ::testing::TempDir() + name + "_" + std::to_string(::getpid()) + ".pbm";
    std::ofstream file(path, std::ios::binary);
    file << "PF\n2\n1\n\n";
    const float texels[6] = {0.25f, 0.5f, 0.75f, 1, 2, 3};
    file.write(reinterpret_cast<const char*>(texels), sizeof texels);
    return path;
}

ObjMaterial record(std::int32_t illum, const char* diffuseMap) {
    ObjMaterial material{};
    material.illum = illum;
    material.diffuseMap = const_cast<char*>(diffuseMap);
    return material;
}

class MaterialTest : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        matte = GlslProgram::load(kMatteProgramDirectory);
    }

    std::shared_ptr<GlslProgram> matte;
};

TEST_F(MaterialTest, OneMaterialPerRecordInOrderSharingTheCachedImage) {
    const std::string texture = writeTexture("diffuse");
    Geometry mesh;
    mesh.materials = {record(3, nullptr), record(-2, texture.c_str()), record(5, texture.c_str())};
    const std::vector<Material> materials = makeEntityMaterials(mesh);
    ASSERT_EQ(materials.size(), 3u);

    EXPECT_EQ(materials[0].texture.image->width, 0);
    for (const Material& material : materials) {
        EXPECT_EQ(material.program, matte);
        EXPECT_EQ(material.texture.wrapMode, WrapRepeat);
    }
    // Both textured records share the cached image.
    EXPECT_EQ(materials[1].texture.image, Image::load(texture));
    EXPECT_EQ(materials[2].texture.image, materials[1].texture.image);
    EXPECT_EQ(sampleTexture(materials[1].texture, 0.75f, 0.5f), (Vec3{1, 2, 3}));
    std::remove(texture.c_str());
}

TEST_F(MaterialTest, AMissingMapLeavesAnEmptyImageThatSamplesAsAFailure) {
    const std::string missing = ::testing::TempDir() + "no_such_texture.pbm";
    Geometry mesh;
    mesh.materials = {record(1, missing.c_str())};
    ::testing::internal::CaptureStderr();
    const std::vector<Material> materials = makeEntityMaterials(mesh);
    makeEntityMaterials(mesh); // the failed load is cached: one message per path
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error: could not open \"" + missing + "\".\n");
    ASSERT_EQ(materials.size(), 1u);
    EXPECT_EQ(materials[0].texture.image->width, 0);
    EXPECT_THROW(sampleTexture(materials[0].texture, 0.5f, 0.5f), std::domain_error);
}

} // namespace
} // namespace verdanium
