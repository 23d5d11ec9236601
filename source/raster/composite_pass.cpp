#include "raster/composite_pass.h"

#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/scene_raster_state.h"
#include "raster/vertex_attributes.h"
#include "tracer/recursive_path_tracer.h"

#include <GL/glew.h>

namespace verdanium {

void prepareCompositeState(RecursivePathTracer& r) {
    const GLuint program = r.compositeProgram ? r.compositeProgram->handle : 0;
    r.diffuseSamplerLocation = glGetUniformLocation(program, "u_diffuseSampler");
    r.pathTraceSamplerLocation = glGetUniformLocation(program, "u_pathTraceSampler");
    r.vertexLocation = glGetAttribLocation(program, "a_vertex");
    r.texCoordLocation = glGetAttribLocation(program, "a_texCoord");

    glUseProgram(program);
    glGenVertexArrays(1, &r.quadVertexArray);
    glBindVertexArray(r.quadVertexArray);
    attachFloatAttribute(r.quad->positionBuffer, r.vertexLocation, 3);
    attachFloatAttribute(r.quad->texCoordBuffer, r.texCoordLocation, 2);
    glBindVertexArray(0);
    glUniform1i(r.diffuseSamplerLocation, 0);
    glUniform1i(r.pathTraceSamplerLocation, 1);
    glUseProgram(0);
}

void drawComposite(const RecursivePathTracer& r) {
    glPushAttrib(kAllAttributeBits);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);

    glUseProgram(r.compositeProgram ? r.compositeProgram->handle : 0);
    glBindVertexArray(r.quadVertexArray);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, r.diffuseTexture);
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, r.pathTraceTexture);
    glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(r.quad->positions.size()));

    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindVertexArray(0);
    glUseProgram(0);
    glPopAttrib();
}

} // namespace verdanium
