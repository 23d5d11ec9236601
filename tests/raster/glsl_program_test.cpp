#include "raster/glsl_program.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace verdanium {
namespace {

namespace fs = std::filesystem;

constexpr const char* kVertexSource =
    "#version 150 compatibility\n"
    "in vec3 a_vertex;\n"
    "uniform mat4 u_modelViewProjectionMatrix;\n"
    "void main() { gl_Position = u_modelViewProjectionMatrix * vec4(a_vertex, 1.0); }\n";
constexpr const char* kFragmentSource = "#version 150 compatibility\n"
                                        "out vec4 colour;\n"
                                        "void main() { colour = vec4(1.0, 0.0, 0.0, 1.0); }\n";

class GlslProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        directory =
            fs::temp_directory_path() / ("verdanium_glsl_" + std::to_string(getpid()) + "_" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(directory);
    }
    void TearDown() override { fs::remove_all(directory); }

    std::string write(const std::string& name, const std::string& bytes) {
        std::string path = (directory / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    fs::path directory;
};

TEST_F(GlslProgramTest, ReadTextFileKeepsTheExactBytes) {
    std::string bytes("line one\r\nline\0two\n", 20);
    std::string path = write("source.txt", bytes);
    ::testing::internal::CaptureStderr();
    std::string text = readTextFile(path);
    std::string empty = readTextFile(write("empty.txt", ""));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), ""); // an empty file is not a failed read
    EXPECT_EQ(text, bytes);
    EXPECT_EQ(empty, "");
}

TEST_F(GlslProgramTest, ReadTextFileReportsAMissingFileOrADirectory) {
    for (std::string path : {(directory / "absent").string(), directory.string()}) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(readTextFile(path), "");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Couldn't open file \"" + path + "\"\n");
    }
}

TEST_F(GlslProgramTest, CleanSourcesLinkSilently) {
    VERDANIUM_REQUIRE_GL();
    write("main.vertex", kVertexSource);
    write("main.fragment", kFragmentSource);
    ::testing::internal::CaptureStderr();
    GlslProgram program(directory.string());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ASSERT_NE(program.handle, 0u);

    GLint linked = 0, attached = -1;
    glGetProgramiv(program.handle, GL_LINK_STATUS, &linked);
    glGetProgramiv(program.handle, GL_ATTACHED_SHADERS, &attached);
    EXPECT_EQ(linked, GL_TRUE);
    EXPECT_EQ(attached, 2);
    // The linker chose the attribute's location; nothing was bound beforehand.
    EXPECT_GE(glGetAttribLocation(program.handle, "a_vertex"), 0);
    EXPECT_GE(glGetUniformLocation(program.handle, "u_modelViewProjectionMatrix"), 0);
}

TEST_F(GlslProgramTest, MissingFragmentSourceGivesOneOpenMessageThenTheLogs) {
    VERDANIUM_REQUIRE_GL();
    write("main.vertex", kVertexSource);
    // The source path is the directory text and "\main.fragment", as written.
    std::string windowsDirectory = directory.string();
    ::testing::internal::CaptureStderr();
    GlslProgram program(windowsDirectory);
    std::string output = ::testing::internal::GetCapturedStderr();

    std::string openMessage = "Couldn't open file \"" + windowsDirectory + "\\main.fragment\"\n";
    EXPECT_EQ(output.rfind(openMessage, 0), 0u) << output;
    EXPECT_GT(output.size(), openMessage.size()) << "the empty shader's compile or link log follows";
    EXPECT_EQ(output.find("Couldn't open file", 1), std::string::npos);
    EXPECT_NE(program.handle, 0u);
    GLint linked = GL_TRUE;
    glGetProgramiv(program.handle, GL_LINK_STATUS, &linked);
    EXPECT_EQ(linked, GL_FALSE);
}

TEST_F(GlslProgramTest, CompileErrorsAreWrittenAndTheProgramKept) {
    VERDANIUM_REQUIRE_GL();
    write("main.vertex", kVertexSource);
    write("main.fragment", "#version 150 compatibility\nvoid main() { this is not glsl; }\n");
    ::testing::internal::CaptureStderr();
    GlslProgram program(directory.string());
    std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(output.empty());
    EXPECT_EQ(output.back(), '\n');
    EXPECT_NE(program.handle, 0u);
}

TEST_F(GlslProgramTest, LoadCompilesOncePerDirectoryText) {
    VERDANIUM_REQUIRE_GL();
    write("main.vertex", kVertexSource);
    write("main.fragment", kFragmentSource);
    auto first = GlslProgram::load(directory.string());
    // Removing the sources proves the second request reads nothing.
    fs::remove(directory / "main.vertex");
    ::testing::internal::CaptureStderr();
    auto second = GlslProgram::load(directory.string());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(first->handle, second->handle);
}

} // namespace
} // namespace verdanium
