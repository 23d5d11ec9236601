#include "foundation/gl_error.h"

#include <GL/glew.h>

#include <GL/glu.h>
#include <iostream>

namespace verdanium {

void printErrorReport(std::ostream& stream, const std::string& location, std::uint32_t errorCode) {
    const GLubyte* text = gluErrorString(errorCode);
    stream << "GL error: ";
    if (text != nullptr)
        stream << reinterpret_cast<const char*>(text);
    else
        stream << "unknown error code " << errorCode; // GLU knows no text for it
    stream << std::endl;
    if (!location.empty())
        stream << "(printErrorReport called from: " << location << ")" << std::endl;
}

void checkGlError(const std::string& location) {
    GLenum error = glGetError();
    if (error != GL_NO_ERROR)
        printErrorReport(std::cerr, location, error);
}

} // namespace verdanium
