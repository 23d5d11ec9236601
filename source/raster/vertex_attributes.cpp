#include "raster/vertex_attributes.h"

#include <GL/glew.h>

namespace verdanium {

void attachFloatAttribute(std::uint32_t buffer, std::int32_t attribute, int components) {
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glVertexAttribPointer(static_cast<GLuint>(attribute), components, GL_FLOAT, GL_FALSE, 0, nullptr);
    glEnableVertexAttribArray(static_cast<GLuint>(attribute));
}

} // namespace verdanium
