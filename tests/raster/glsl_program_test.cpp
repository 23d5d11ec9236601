#include "raster/glsl_program.h"
#include "support/gl_test_context.h"
#include "support/test_files.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

namespace verdanium {
namespace {

using GlslProgramTest = TestFilesFixture;

// The program writes every non-empty compile or link log, so silence means clean sources.
TEST_F(GlslProgramTest, EveryShippedProgramLinksSilently) {
    VERDANIUM_REQUIRE_GL();
    for (const char* name : {"background", "matte", "hybrid", "composite"}) {
        ::testing::internal::CaptureStderr();
        GlslProgram program(std::string("..\\..\\..\\data\\materials\\") + name);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << name;
        GLint linked = GL_FALSE;
        glGetProgramiv(program.handle, GL_LINK_STATUS, &linked);
        EXPECT_EQ(linked, GL_TRUE) << name;
    }
}

TEST_F(GlslProgramTest, ReadTextFileKeepsTheExactBytesOrReportsTheMissingFile) {
    const std::string bytes("line one\r\nline\0two\n", 20);
    const std::string missing = (directory / "absent").string();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(readTextFile(write("source.txt", bytes)), bytes);
    EXPECT_EQ(readTextFile(write("empty.txt", "")), ""); // no read, so no read message
    EXPECT_EQ(readTextFile(missing), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Couldn't open file \"" + missing + "\"\n");
}

// The source paths are the directory text and "\main.vertex" or "\main.fragment",
// backslash and all. Both are missing here: two open messages, then the logs of
// the empty shaders and the failed link; the program is kept, and cached.
TEST_F(GlslProgramTest, MissingSourcesGiveTheOpenMessagesThenTheLogsOnceAndTheProgramIsKept) {
    VERDANIUM_REQUIRE_GL();
    const std::string name = directory.string();
    ::testing::internal::CaptureStderr();
    auto program = GlslProgram::load(name);
    EXPECT_EQ(GlslProgram::load(name), program);
    const std::string output = ::testing::internal::GetCapturedStderr();

    const std::string openMessages = "Couldn't open file \"" + name + "\\main.vertex\"\n" +
                                     "Couldn't open file \"" + name + "\\main.fragment\"\n";
    EXPECT_EQ(output.rfind(openMessages, 0), 0u) << output;
    EXPECT_GT(output.size(), openMessages.size()) << "the logs follow";
    EXPECT_EQ(output.find("Couldn't open file", openMessages.size()), std::string::npos) << "compiled once";
    EXPECT_EQ(output.back(), '\n');
    EXPECT_NE(program->handle, 0u);
}

} // namespace
} // namespace verdanium
