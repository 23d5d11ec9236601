#include "raster/glsl_program.h"

#include "foundation/file_path.h"
#include "foundation/resource_cache.h"

#include <GL/glew.h>

#include <fstream>
#include <iostream>

namespace verdanium {

std::shared_ptr<GlslProgram> GlslProgram::load(std::string directory) {
    return gGlslProgramCache.load(std::move(directory));
}

std::string readTextFile(const std::string& path) {
    std::ifstream file;
    if (!openForBinaryReading(file, path)) {
        std::cerr << "Couldn't open file \"" << path << "\"" << std::endl;
        return {};
    }
    file.seekg(0, std::ios::beg);
    std::streamoff start = file.tellg();
    file.seekg(0, std::ios::end);
    std::streamoff end = file.tellg();
    file.seekg(0, std::ios::beg);
    std::streamoff length = end - start;
    if (length <= 0)
        return {};
    std::string text(static_cast<std::size_t>(length), '\0');
    if (!file.read(text.data(), length))
        std::cerr << "couldn't read the expected number of bytes from " << path << std::endl;
    return text;
}

namespace {

GLuint compileShader(GLenum type, const std::string& source) {
    GLuint shader = glCreateShader(type);
    // One string and no length array: the source ends at its first zero byte.
    const GLchar* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    return shader;
}

// Writes the info log of a shader or a program (the two kinds share the query
// signatures). A log's length counts its terminator, so 1 or less means an
// empty log, and nothing is written.
void writeInfoLog(GLuint object, PFNGLGETSHADERIVPROC getLength, PFNGLGETSHADERINFOLOGPROC getLog) {
    GLint length = 0;
    getLength(object, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1)
        return;
    std::string log(static_cast<std::size_t>(length), '\0');
    getLog(object, length, nullptr, log.data());
    std::cerr << log.c_str() << std::endl;
}

} // namespace

GlslProgram::GlslProgram(const std::string& directory) {
    // The separator is part of the name as written; it becomes a slash only when the file is opened.
    GLuint vertexShader = compileShader(GL_VERTEX_SHADER, readTextFile(directory + "\\main.vertex"));
    GLuint fragmentShader = compileShader(GL_FRAGMENT_SHADER, readTextFile(directory + "\\main.fragment"));
    handle = glCreateProgram();
    // Deleting right after attaching only marks the shaders: they stay valid
    // for the log queries below and vanish with the program, so no clean-up
    // path is needed.
    glAttachShader(handle, vertexShader);
    glDeleteShader(vertexShader);
    glAttachShader(handle, fragmentShader);
    glDeleteShader(fragmentShader);
    glLinkProgram(handle);
    // No status queries: warnings and errors alike are text on standard error.
    writeInfoLog(vertexShader, glGetShaderiv, glGetShaderInfoLog);
    writeInfoLog(fragmentShader, glGetShaderiv, glGetShaderInfoLog);
    writeInfoLog(handle, glGetProgramiv, glGetProgramInfoLog);
}

GlslProgram::~GlslProgram() {
    if (handle != 0)
        glDeleteProgram(handle);
}

} // namespace verdanium
