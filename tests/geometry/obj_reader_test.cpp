#include "geometry/obj_reader.h"

#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace verdanium {
namespace {

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;

class ObjReaderTest : public TestFilesFixture {
protected:
    void SetUp() override {
        // The GL tests of this executable start driver threads; a forked death test must not inherit them.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        TestFilesFixture::SetUp();
    }

    // The model's groups, newest first, as name and triangle indices.
    static std::vector<std::pair<std::string, std::vector<uint32_t>>> groupsOf(const ObjModel* model) {
        std::vector<std::pair<std::string, std::vector<uint32_t>>> groups;
        for (const ObjGroup* group = model->groups; group; group = group->next)
            groups.emplace_back(group->name, std::vector<uint32_t>(group->triangles,
                                                                   group->triangles + group->triangleCount));
        return groups;
    }

    static std::vector<uint32_t> vertexIndicesOf(const ObjTriangle& triangle) {
        return {triangle.vertexIndices[0], triangle.vertexIndices[1], triangle.vertexIndices[2]};
    }
};

using Groups = std::vector<std::pair<std::string, std::vector<uint32_t>>>;

const char* const kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                            "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                            "vn 0 0 1\n";

TEST_F(ObjReaderTest, QuadBecomesAFanOfTwoTrianglesWithAllIndexKinds) {
    ObjModel* model = glmReadOBJ(
        write("quad.obj", std::string("# a quad\n") + kSquare + "s off\nf 1/1/1 2/2/1 3/3/1 4/4/1\n")
            .c_str());
    ASSERT_EQ(model->triangleCount, 2u);
    EXPECT_EQ(model->vertexCount, 4u);
    EXPECT_EQ(model->texCoordCount, 4u);
    EXPECT_EQ(model->normalCount, 1u);
    EXPECT_EQ(vertexIndicesOf(model->triangles[0]), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(vertexIndicesOf(model->triangles[1]), (std::vector<uint32_t>{1, 3, 4}));
    EXPECT_EQ(model->triangles[1].texCoordIndices[2], 4u);
    EXPECT_EQ(model->triangles[1].normalIndices[1], 1u);
    EXPECT_EQ(model->triangles[0].material, 0u);
    // Element 0 is the unused spare; values start at element 1.
    EXPECT_EQ(model->vertices[3 * 3 + 0], 1.0f);
    EXPECT_EQ(model->vertices[3 * 3 + 1], 1.0f);
    EXPECT_EQ(model->texCoords[2 * 4 + 1], 1.0f);
    EXPECT_EQ(model->normals[3 * 1 + 2], 1.0f);
    EXPECT_EQ(model->materialLibrary, nullptr);
    EXPECT_EQ(model->materials, nullptr);
    EXPECT_EQ(groupsOf(model), (Groups{{"default", {0, 1}}}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, FaceFormsAndLongFans) {
    ObjModel* model = glmReadOBJ(write("forms.obj", std::string(kSquare) + "v 2 2 0\n"
                                                                           "f 1//1 2//1 3//1\n"
                                                                           "f 1/2 2/3 3/4\n"
                                                                           "f 1 2 3 4 5\n")
                                     .c_str());
    ASSERT_EQ(model->triangleCount, 5u);
    EXPECT_EQ(model->triangles[0].normalIndices[2], 1u);
    EXPECT_EQ(model->triangles[0].texCoordIndices[2], 0u);
    EXPECT_EQ(model->triangles[1].texCoordIndices[0], 2u);
    EXPECT_EQ(model->triangles[1].normalIndices[0], 0u);
    EXPECT_EQ(vertexIndicesOf(model->triangles[2]), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(vertexIndicesOf(model->triangles[3]), (std::vector<uint32_t>{1, 3, 4}));
    EXPECT_EQ(vertexIndicesOf(model->triangles[4]), (std::vector<uint32_t>{1, 4, 5}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, GroupsRunNewestFirstAndKeepTheirBlank) {
    // "g a" twice is one group; "g a " (trailing blank) is another; a bare "g" names the empty group.
    ObjModel* model = glmReadOBJ(write("groups.obj", std::string(kSquare) + "g a\nf 1 2 3\n"
                                                                            "g b\nf 1 2 3\n"
                                                                            "g a\nf 2 3 4\n"
                                                                            "g a \nf 1 3 4\n"
                                                                            "g\nf 1 2 4\n")
                                     .c_str());
    EXPECT_EQ(model->groupCount, 5u);
    EXPECT_EQ(groupsOf(model),
              (Groups{{"", {4}}, {" a ", {3}}, {" b", {1}}, {" a", {0, 2}}, {"default", {}}}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, FacesAheadOfTheFirstGroupLandInTheNewestGroup) {
    ObjModel* model =
        glmReadOBJ(write("early.obj", std::string(kSquare) + "f 1 2 3\nf 1 3 4\ng a\nf 2 3 4\n").c_str());
    EXPECT_EQ(groupsOf(model), (Groups{{" a", {0, 1, 2}}, {"default", {}}}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, UsemtlWithoutLibraryReportsAndUsesMaterialZero) {
    std::string path = write("nolib.obj", std::string(kSquare) + "usemtl red\nf 1 2 3\n");
    ::testing::internal::CaptureStdout();
    ObjModel* model = glmReadOBJ(path.c_str());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "glmFindMaterial():  can't find material \"red\".\n");
    EXPECT_EQ(model->materialCount, 0u);
    EXPECT_EQ(model->triangles[0].material, 0u);
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, MaterialLibraryRules) {
    write("models/rock.mtl", "Kd 0.5 0.5 0.5\n"
                             "newmtl stone\n"
                             "Kd 0.1 0.2 0.3\nKa 0.4 0.5 0.6\nKs 0.7 0.8 0.9\nKe 1 1 1\n"
                             "Ns 1000\nNi 1.5\nillum 2\n"
                             "map_Kd stone.pbm extra\nmap_Ks shine.pbm\nmap_Ka dim.pbm\nmap_Bump x.pbm\n"
                             "newmtl moss\nNs 1000\n");
    std::string path = write("models/rock.obj", std::string("mtllib rock.mtl\n") + kSquare +
                                                    "g r\nusemtl moss\nf 1 2 3\nusemtl stone\nf 1 3 4\n");
    ObjModel* model = glmReadOBJ(path.c_str());
    ASSERT_EQ(model->materialCount, 3u);
    EXPECT_STREQ(model->materialLibrary, "rock.mtl");

    // Lines ahead of the first newmtl write into the implicit "default".
    const ObjMaterial& fallback = model->materials[0];
    EXPECT_STREQ(fallback.name, "default");
    EXPECT_EQ(fallback.diffuse[0], 0.5f);
    EXPECT_EQ(fallback.diffuse[3], 1.0f);
    EXPECT_EQ(fallback.shininess, 65.0f);

    const ObjMaterial& stone = model->materials[1];
    EXPECT_STREQ(stone.name, "stone");
    EXPECT_THAT(stone.diffuse, ::testing::ElementsAre(0.1f, 0.2f, 0.3f, 1.0f));
    EXPECT_THAT(stone.ambient, ::testing::ElementsAre(0.4f, 0.5f, 0.6f, 1.0f));
    EXPECT_THAT(stone.specular, ::testing::ElementsAre(0.7f, 0.8f, 0.9f, 1.0f));
    EXPECT_THAT(stone.emissive, ::testing::ElementsAre(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_FLOAT_EQ(stone.shininess, 0.192f); // Ni overrides the Ns before it
    EXPECT_EQ(stone.illum, 2);
    EXPECT_STREQ(stone.diffuseMap, "stone.pbm");
    EXPECT_STREQ(stone.specularMap, "shine.pbm");
    EXPECT_STREQ(stone.ambientMap, "dim.pbm");

    const ObjMaterial& moss = model->materials[2];
    EXPECT_EQ(moss.shininess, 128.0f);
    EXPECT_EQ(moss.diffuseMap, nullptr);

    EXPECT_EQ(model->triangles[0].material, 2u);
    EXPECT_EQ(model->triangles[1].material, 1u);
    EXPECT_EQ(model->groups->material, 1u);

    // The map strings must outlive the model: Geometry keeps shallow copies of the records.
    char* map = stone.diffuseMap;
    glmFreeModel(model);
    EXPECT_STREQ(map, "stone.pbm");
    free(map);
}

TEST_F(ObjReaderTest, BackslashesBecomeSlashesOnlyWhenOpening) {
    std::string path = write("sub/quad.obj", std::string(kSquare) + "f 1 2 3\n");
    std::string windowsPath = (directory / "sub").string() + "\\quad.obj";
    ObjModel* model = glmReadOBJ(windowsPath.c_str());
    EXPECT_EQ(std::string(model->pathName), windowsPath);
    EXPECT_EQ(model->triangleCount, 1u);
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, UnreadableFilesEndTheProgram) {
    std::string missing = (directory / "missing.obj").string();
    EXPECT_EXIT(glmReadOBJ(missing.c_str()), ExitedWithCode(1),
                HasSubstr("glmReadOBJ() failed: can't open data file \"" + missing + "\".\n"));

    std::string path = write("lib.obj", "mtllib gone.mtl\n");
    EXPECT_EXIT(glmReadOBJ(path.c_str()), ExitedWithCode(1),
                HasSubstr("glmReadMTL() failed: can't open material file \"" +
                          (directory / "gone.mtl").string() + "\".\n"));
}

TEST_F(ObjReaderTest, UnknownVertexTokenEndsTheProgram) {
    std::string path = write("vx.obj", "v 1 2 3\nvp 0.5\n");
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO); // the message goes to standard output
            glmReadOBJ(path.c_str());
        },
        ExitedWithCode(1), HasSubstr("glmFirstPass(): Unknown token \"vp\".\n"));
}

TEST_F(ObjReaderTest, IndicesOutsideTheFileEndTheProgramNamingFileAndLine) {
    struct Case {
        const char* face;
        const char* message;
    };
    const Case cases[] = {
        {"f 0 1 2", "vertex index 0 is out of range (the file has 4 vertices)"},
        {"f 1 -1 2", "vertex index -1 is out of range (the file has 4 vertices)"},
        {"f 1 2 3 5", "vertex index 5 is out of range (the file has 4 vertices)"},
        {"f 1/5/1 2/1/1 3/1/1",
         "texture coordinate index 5 is out of range (the file has 4 texture coordinates)"},
        {"f 1//2 2//1 3//1", "normal index 2 is out of range (the file has 1 normal)"},
        {"f 1/1/1 2/2/1 3/3", "normal index 0 is out of range (the file has 1 normal)"},
        {"f 1 2", "vertex index 0 is out of range (the file has 4 vertices)"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.face);
        // The face stands on line 12, after a comment and the square's nine lines, and before a good face.
        std::string path =
            write("bad.obj", std::string("# bad\n") + kSquare + "g x\n" + each.face + "\nf 1 2 3\n");
        EXPECT_EXIT(glmReadOBJ(path.c_str()), ExitedWithCode(1),
                    HasSubstr("error: \"" + path + "\", line 12: " + each.message + ".\n"));
    }
    std::string noNormals = write("nonormals.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1//1 2//1 3//1\n");
    EXPECT_EXIT(glmReadOBJ(noNormals.c_str()), ExitedWithCode(1),
                HasSubstr("error: \"" + noNormals +
                          "\", line 4: normal index 1 is out of range (the file has 0 "
                          "normals).\n"));
}

} // namespace
} // namespace verdanium
