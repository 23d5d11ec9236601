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

// The source paths are the directory text and "\main.vertex" or "\main.fragment", backslash and all. Both
// are missing here: two open messages, then each non-empty log of the two empty shaders and of their link, a
// line each, as GL itself gives them; the program is kept, and cached.
TEST_F(GlslProgramTest, MissingSourcesGiveTheOpenMessagesThenTheLogsOnceAndTheProgramIsKept) {
    VERDANIUM_REQUIRE_GL();
    std::string logs;
    const auto addLog = [&logs](GLuint object, bool program) {
        GLint length = 0;
        (program ? glGetProgramiv : glGetShaderiv)(object, GL_INFO_LOG_LENGTH, &length);
        if (length > 1) {
            std::string text(length, '\0');
            (program ? glGetProgramInfoLog : glGetShaderInfoLog)(object, length, nullptr, text.data());
            logs += text.c_str() + std::string("\n");
        }
    };
    const GLuint shaders[2] = {glCreateShader(GL_VERTEX_SHADER), glCreateShader(GL_FRAGMENT_SHADER)};
    const GLuint linked = glCreateProgram();
    const char* const empty = "";
    for (GLuint shader : shaders) {
        glShaderSource(shader, 1, &empty, nullptr);
        glCompileShader(shader);
        glAttachShader(linked, shader);
    }
    glLinkProgram(linked);
    addLog(shaders[0], false);
    addLog(shaders[1], false);
    addLog(linked, true);
    glDeleteProgram(linked);
    glDeleteShader(shaders[0]);
    glDeleteShader(shaders[1]);
    ASSERT_NE(logs, "") << "a link without sources has something to say";

    const std::string name = directory.string();
    ::testing::internal::CaptureStderr();
    auto program = GlslProgram::load(name);
    EXPECT_EQ(GlslProgram::load(name), program);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Couldn't open file \"" + name + "\\main.vertex\"\n" +
                                                            "Couldn't open file \"" + name +
                                                            "\\main.fragment\"\n" + logs);
    EXPECT_NE(program->handle, 0u);
}

} // namespace
} // namespace verdanium
