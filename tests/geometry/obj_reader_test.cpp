#include "geometry/obj_reader.h"

#include "support/test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace verdanium {
namespace {

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using Groups = std::vector<std::pair<std::string, std::vector<uint32_t>>>;

class ObjReaderTest : public TestFilesFixture {
protected:
    void SetUp() override {
        // The GL tests of this executable start driver threads; a forked death test must not inherit them.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        TestFilesFixture::SetUp();
    }
    ObjModel* read(const std::string& name, const std::string& text) {
        return glmReadOBJ(write(name, text).c_str());
    }
};

// The model's groups, newest first, as name and triangle indices.
Groups groupsOf(const ObjModel* model) {
    Groups groups;
    for (const ObjGroup* group = model->groups; group; group = group->next)
        groups.emplace_back(group->name,
                            std::vector<uint32_t>(group->triangles, group->triangles + group->triangleCount));
    return groups;
}

std::vector<uint32_t> corners(const ObjTriangle& triangle) {
    return {triangle.vertexIndices[0], triangle.vertexIndices[1], triangle.vertexIndices[2]};
}

const std::string kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                            "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                            "vn 0 0 1\n";

TEST_F(ObjReaderTest, FacesOfEveryFormBecomeFans) {
    ObjModel* model =
        read("quad.obj", "# a quad\n" + kSquare + "v 2 2 0\ns off\n" +
                             "f 1/1/1 2/2/1 3/3/1 4/4/1\nf 1//1 2//1 3//1\nf 1/2 2/3 3/4\nf 1 2 3 4 5\n");
    ASSERT_EQ(model->triangleCount, 7u);
    EXPECT_EQ(corners(model->triangles[0]), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(corners(model->triangles[1]), (std::vector<uint32_t>{1, 3, 4}));
    EXPECT_EQ(model->triangles[1].texCoordIndices[2], 4u);
    EXPECT_EQ(model->triangles[1].normalIndices[1], 1u);
    EXPECT_EQ(model->triangles[2].normalIndices[2], 1u); // v//vn
    EXPECT_EQ(model->triangles[2].texCoordIndices[2], 0u);
    EXPECT_EQ(model->triangles[3].texCoordIndices[0], 2u); // v/vt
    EXPECT_EQ(model->triangles[3].normalIndices[0], 0u);
    EXPECT_EQ(corners(model->triangles[6]), (std::vector<uint32_t>{1, 4, 5})); // the pentagon's last fan
    EXPECT_EQ(groupsOf(model), (Groups{{"default", {0, 1, 2, 3, 4, 5, 6}}}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, FacesAheadOfTheFirstGroupLandInTheNewestGroup) {
    // The newest group must grow to hold them.
    ObjModel* model = read("early.obj", kSquare + "f 1 2 3\nf 1 3 4\ng a\nf 2 3 4\n");
    EXPECT_EQ(groupsOf(model), (Groups{{" a", {0, 1, 2}}, {"default", {}}}));
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, UsemtlWithoutLibraryReportsAndUsesMaterialZero) {
    const std::string path = write("nolib.obj", kSquare + "usemtl red\nf 1 2 3\n");
    ::testing::internal::CaptureStdout();
    ObjModel* model = glmReadOBJ(path.c_str());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "glmFindMaterial():  can't find material \"red\".\n");
    EXPECT_EQ(model->triangles[0].material, 0u);
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, MaterialLibraryRules) {
    write("models/rock.mtl", "Kd 0.5 0.5 0.5\nnewmtl stone\nKd 0.1 0.2 0.3\nKa 0.4 0.5 0.6\nKs 0.7 0.8 0.9\n"
                             "Ke 1 1 1\nNs 1000\nNi 1.5\nillum 2\n"
                             "map_Kd stone.pbm extra\nmap_Ks shine.pbm\nmap_Ka dim.pbm\nmap_Bump x.pbm\n"
                             "newmtl moss\nNs 1000\n");
    ObjModel* model = read("models/rock.obj", "mtllib rock.mtl\n" + kSquare +
                                                  "g r\nusemtl moss\nf 1 2 3\nusemtl stone\nf 1 3 4\n");
    ASSERT_EQ(model->materialCount, 3u);
    // Lines ahead of the first newmtl write into the implicit "default"; Ka, Ks, Ke and other maps go
    // elsewhere or nowhere, and leave the diffuse colour and map alone.
    EXPECT_STREQ(model->materials[0].name, "default");
    EXPECT_THAT(model->materials[0].diffuse, ElementsAre(0.5f, 0.5f, 0.5f, 1.0f));

    const ObjMaterial& stone = model->materials[1];
    EXPECT_THAT(stone.diffuse, ElementsAre(0.1f, 0.2f, 0.3f, 1.0f));
    EXPECT_EQ(stone.illum, 2);
    EXPECT_STREQ(stone.diffuseMap, "stone.pbm");
    EXPECT_EQ(model->materials[2].diffuseMap, nullptr);

    EXPECT_EQ(model->triangles[0].material, 2u);
    EXPECT_EQ(model->triangles[1].material, 1u);
    glmFreeModel(model);
}

TEST_F(ObjReaderTest, UnreadableFilesAndUnknownTokensEndTheProgram) {
    const std::string missing = (directory / "missing.obj").string();
    EXPECT_EXIT(glmReadOBJ(missing.c_str()), ExitedWithCode(1),
                HasSubstr("glmReadOBJ() failed: can't open data file \"" + missing + "\".\n"));
    const std::string library = write("lib.obj", "mtllib gone.mtl\n");
    EXPECT_EXIT(glmReadOBJ(library.c_str()), ExitedWithCode(1),
                HasSubstr("glmReadMTL() failed: can't open material file \"" +
                          (directory / "gone.mtl").string() + "\".\n"));
    const std::string token = write("vx.obj", "v 1 2 3\nvp 0.5\n");
    EXPECT_EXIT(
        {
            // This message goes to standard output: only that stream reaches the check.
            dup2(dup(STDERR_FILENO), STDOUT_FILENO);
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
            glmReadOBJ(token.c_str());
        },
        ExitedWithCode(1), HasSubstr("glmFirstPass(): Unknown token \"vp\".\n"));
}

TEST_F(ObjReaderTest, IndicesOutsideTheFileEndTheProgramNamingFileAndLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"f 0 1 2", "vertex index 0 is out of range (the file has 4 vertices)"},
        {"f 1 -1 2", "vertex index -1 is out of range (the file has 4 vertices)"},
        {"f 1 2 3 5", "vertex index 5 is out of range (the file has 4 vertices)"},
        {"f 1/5/1 2/1/1 3/1/1",
         "texture coordinate index 5 is out of range (the file has 4 texture coordinates)"},
        {"f 1//2 2//1 3//1", "normal index 2 is out of range (the file has 1 normal)"},
        {"f 1/1/1 2/2/1 3/3", "normal index 0 is out of range (the file has 1 normal)"},
        {"f 1 2", "vertex index 0 is out of range (the file has 4 vertices)"},
    };
    for (const auto& [face, message] : cases) {
        SCOPED_TRACE(face);
        // The face stands on line 12, after a comment and the square's nine lines, and before a good face.
        const std::string path = write("bad.obj", "# bad\n" + kSquare + "g x\n" + face + "\nf 1 2 3\n");
        EXPECT_EXIT(glmReadOBJ(path.c_str()), ExitedWithCode(1),
                    HasSubstr("error: \"" + path + "\", line 12: " + message + ".\n"));
    }
}

} // namespace
} // namespace verdanium
