#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace verdanium {
namespace {

// The four programs are data, read at run time; these checks compile them the way
// the program does and make sure every name that the passes look up is active.

std::string readSource(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string shaderLog(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::string log(length > 1 ? length : 0, '\0');
    if (length > 1)
        glGetShaderInfoLog(shader, length, nullptr, log.data());
    return log;
}

struct ProgramInterface {
    const char* directory;
    std::vector<const char*> uniforms;
    std::vector<const char*> attributes;
};

class ShaderSources : public ::testing::TestWithParam<ProgramInterface> {};

TEST_P(ShaderSources, CompileAndLinkWithCleanLogsAndExposeTheirInterface) {
    VERDANIUM_REQUIRE_GL();
    const ProgramInterface& expected = GetParam();
    const std::string directory = std::string(VERDANIUM_SOURCE_DIR) + "/data/materials/" + expected.directory;

    GLuint program = glCreateProgram();
    for (auto [type, file] :
         {std::pair{GL_VERTEX_SHADER, "/main.vertex"}, {GL_FRAGMENT_SHADER, "/main.fragment"}}) {
        const std::string source = readSource(directory + file);
        ASSERT_FALSE(source.empty()) << directory << file;
        GLuint shader = glCreateShader(type);
        const char* text = source.c_str();
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        GLint compiled = GL_FALSE;
        glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
        EXPECT_TRUE(compiled) << file << ": " << shaderLog(shader);
        EXPECT_EQ(shaderLog(shader), "") << file;
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    GLint logLength = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &logLength);
    EXPECT_TRUE(linked);
    EXPECT_LE(logLength, 1) << "the link log should be empty";

    for (const char* name : expected.uniforms)
        EXPECT_GE(glGetUniformLocation(program, name), 0) << "uniform " << name;
    for (const char* name : expected.attributes)
        EXPECT_GE(glGetAttribLocation(program, name), 0) << "attribute " << name;
    glDeleteProgram(program);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

INSTANTIATE_TEST_SUITE_P(
    Materials, ShaderSources,
    ::testing::Values(
        ProgramInterface{
            "background", {"u_modelViewProjectionMatrix", "u_backgroundSampler"}, {"a_vertex", "a_texCoord"}},
        ProgramInterface{"matte",
                         {"u_modelViewProjectionMatrix", "u_normalMatrix", "u_lightDirection", "u_color"},
                         {"a_vertex", "a_normal"}},
        ProgramInterface{"hybrid",
                         {"u_modelViewProjectionMatrix", "u_modelMatrix", "u_normalMatrix"},
                         {"a_vertex", "a_normal", "a_texCoord"}},
        ProgramInterface{
            "composite", {"u_diffuseSampler", "u_pathTraceSampler"}, {"a_vertex", "a_texCoord"}}),
    [](const ::testing::TestParamInfo<ProgramInterface>& info) { return std::string(info.param.directory); });

} // namespace
} // namespace verdanium
