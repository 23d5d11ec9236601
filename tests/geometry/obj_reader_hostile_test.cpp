// The reader under input written to fool it: numbers beyond int, files that never end, coordinates that
// are not numbers.

#include "geometry/obj_reader.h"

#include "support/test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace verdanium {
namespace {

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;

class ObjReaderHostileTest : public TestFilesFixture {
protected:
    void SetUp() override {
        // The GL tests of this executable start driver threads; a forked death test must not inherit them.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        TestFilesFixture::SetUp();
    }
};

const std::string kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\n";

TEST_F(ObjReaderHostileTest, IndicesBeyondIntAreReportedAsWritten) {
    const std::pair<const char*, const char*> cases[] = {
        // 2^32 + 1 once wrapped to index 1 and was taken in silence.
        {"f 4294967297 2 3", "vertex index 4294967297 is out of range (the file has 4 vertices)"},
        {"f 1 2 99999999999", "vertex index 99999999999 is out of range (the file has 4 vertices)"},
        {"f 1 2 3 -2147483649", "vertex index -2147483649 is out of range (the file has 4 vertices)"},
        {"f 1/4294967297/1 2/1/1 3/1/1",
         "texture coordinate index 4294967297 is out of range (the file has 1 texture coordinate)"},
        {"f 1//1 2//1 3//18446744073709551617",
         "normal index 18446744073709551617 is out of range (the file has 1 normal)"},
        {"f 1 2 +0004294967300", "vertex index +0004294967300 is out of range (the file has 4 vertices)"},
    };
    for (const auto& [face, message] : cases) {
        SCOPED_TRACE(face);
        const std::string path = write("big.obj", kSquare + "# line 7\n" + face + "\nf 1 2 3\n");
        EXPECT_EXIT(glmReadOBJ(path.c_str()), ExitedWithCode(1),
                    HasSubstr("error: \"" + path + "\", line 8: " + message + ".\n"));
    }
}

TEST_F(ObjReaderHostileTest, OnlyRegularFilesAreOpened) {
    // A device never ends and a pipe without a writer never opens: both are as unreadable as a missing file.
    // A death test runs the test again in a fresh process, which finds the pipe and the link made.
    const std::string pipe = (directory / "pipe").string();
    std::filesystem::remove(pipe);
    std::filesystem::remove(directory / "zero.mtl");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {std::string("/dev/zero"), pipe}) {
        EXPECT_EXIT(glmReadOBJ(path.c_str()), ExitedWithCode(1),
                    HasSubstr("glmReadOBJ() failed: can't open data file \"" + path + "\".\n"));
    }
    std::filesystem::create_symlink("/dev/zero", directory / "zero.mtl");
    for (const std::string name : {"zero.mtl", "pipe"}) {
        const std::string model = write("lib.obj", "mtllib " + name + "\nv 0 0 0\n");
        EXPECT_EXIT(glmReadOBJ(model.c_str()), ExitedWithCode(1),
                    HasSubstr("glmReadMTL() failed: can't open material file \"" +
                              (directory / name).string() + "\".\n"));
    }
}

TEST_F(ObjReaderHostileTest, VerticesThatAreNotFiniteAreReportedOnceAndStandAtTheOrigin) {
    const std::string path = write("nan.obj", "v 1 2 3\nv nan 0 0\n# comment\nv 0 -inf 1\nv 1e999 0 0\n"
                                              "v 4 5 6\nf 1 2 3\nf 3 4 5\n");
    ::testing::internal::CaptureStderr();
    ObjModel* model = glmReadOBJ(path.c_str());
    const std::string errors = ::testing::internal::GetCapturedStderr();
    const std::string head = "error: \"" + path + "\", line ";
    const std::string tail = " has a coordinate that is not a finite number; it is read as 0 0 0.\n";
    EXPECT_EQ(errors,
              head + "2: vertex 2" + tail + head + "4: vertex 3" + tail + head + "5: vertex 4" + tail);
    ASSERT_EQ(model->vertexCount, 5u);
    const std::vector<float> vertices(model->vertices + 3, model->vertices + 18);
    EXPECT_EQ(vertices, (std::vector<float>{1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 5, 6}));
    EXPECT_EQ(model->triangleCount, 2u);
    glmFreeModel(model);
}

} // namespace
} // namespace verdanium
