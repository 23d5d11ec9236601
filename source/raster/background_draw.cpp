// The drawing half of Background: the box around the eye in the three raster
// modes. Construction and radiance live in background.cpp.
#include "raster/background.h"

#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/image.h"
#include "raster/scene_raster_state.h"

#include <GL/glew.h>

namespace verdanium {

namespace {

// The view turned but not moved: with the translation gone the box stays
// centred on the eye, whatever its side and however far the camera has flown.
Mat4 rotationOnly(const Transform& view) {
    Mat4 matrix = view.forward;
    matrix.setColumn(3, Vec4{0.0f, 0.0f, 0.0f, 1.0f});
    return matrix;
}

void drawFixed(const Geometry& box, std::uint32_t textureId, const Mat4& projection, const Mat4& view) {
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(projection.data());
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(view.data());

    glPushAttrib(kAllAttributeBits);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, textureId);
    glBegin(GL_TRIANGLES);
    // The box's arrays are filled together, one entry per corner each.
    for (std::size_t corner = 0; corner < box.positions.size(); ++corner) {
        glNormal3fv(&box.normals[corner].x);
        glTexCoord2fv(&box.texCoords[corner].u);
        glVertex3fv(&box.positions[corner].x);
    }
    glEnd();
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopAttrib();
}

} // namespace

void Background::rasterize(RenderMode mode, const Mat4& projection, const Transform& view) {
    if (!isRasterMode(mode)) {
        reportCannotRasterize(mode);
        return;
    }
    const Mat4 turnedView = rotationOnly(view);
    const std::uint32_t textureId = texture.image ? texture.image->textureId : 0;

    if (mode == RenderModeFixedRaster) {
        drawFixed(*geometry, textureId, projection, turnedView);
        return;
    }

    // Shader raster and hybrid draw alike; in the hybrid pass the program's
    // other outputs leave the position target's alpha at 0, which is what marks
    // a pixel as not covered.
    glPushAttrib(kAllAttributeBits);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);
    glUseProgram(material.program ? material.program->handle : 0);
    const Mat4 modelViewProjection = projection * turnedView;
    glUniformMatrix4fv(modelViewProjectionLocation, 1, GL_FALSE, modelViewProjection.data());
    glBindVertexArray(vertexArray);
    glBindTexture(GL_TEXTURE_2D, textureId);
    glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(geometry->positions.size()));
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindVertexArray(0);
    glUseProgram(0);
    glPopAttrib();
}

} // namespace verdanium
