// The drawing of one entity in the three raster modes. The vertex arrays and
// locations used here are made once by the Entity constructor, so a draw in the
// shader modes is a program bind, a few uniforms and one draw call.
#include "world/entity.h"

#include "foundation/math/mat3.h"
#include "geometry/geometry.h"
#include "raster/clip_volume.h"
#include "raster/glsl_program.h"
#include "raster/image.h"
#include "raster/scene_raster_state.h"

#include <GL/glew.h>

namespace verdanium {

namespace {

Mat3 upperLeft(const Mat4& matrix) {
    Mat3 result;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 3; ++row)
            result(row, column) = matrix(row, column);
    return result;
}

// Immediate mode under the state the caller set: no attributes pushed, no
// texture, the lighting of the fixed pipeline.
void drawFixed(const Geometry& mesh, const Mat4& projection, const Mat4& modelView) {
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(projection.data());
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(modelView.data());
    glBegin(GL_TRIANGLES);
    for (std::size_t corner = 0; corner < mesh.positions.size(); ++corner) {
        if (corner < mesh.normals.size())
            glNormal3fv(&mesh.normals[corner].x);
        glVertex3fv(&mesh.positions[corner].x);
    }
    glEnd();
}

// The texture of the material of the mesh's first triangle, or 0. The whole
// mesh is drawn with it: one texture per mesh is what this pass offers.
std::uint32_t firstTriangleTexture(const Geometry& mesh, const std::vector<Material>& materials) {
    if (mesh.triangleMaterials.empty())
        return 0;
    const std::uint64_t index = mesh.triangleMaterials.front();
    if (index >= materials.size() || !materials[index].texture.image)
        return 0;
    return materials[index].texture.image->textureId;
}

} // namespace

void Entity::rasterize(RenderMode mode, const Mat4& projection, const Transform& view) {
    if (!isRasterMode(mode)) {
        reportCannotRasterize(mode);
        return;
    }
    const Mat4& model = transform.forward;
    const Mat4 modelView = (view * transform).forward;
    const Mat4 modelViewProjection = projection * modelView;
    const GLsizei cornerCount = static_cast<GLsizei>(geometry->positions.size());
    // A mesh wholly outside the view draws nothing, but GL would still run the vertex program over every
    // corner first; in the shader modes (whose draws leave no state behind) it is left out. Why: the raster
    // pass of every flying hybrid frame ran over all asteroids, most of them out of sight.
    if (mode != RenderModeFixedRaster && outsideClipVolume(modelViewProjection, geometry->tightBounds))
        return;

    switch (mode) {
    case RenderModeFixedRaster:
        drawFixed(*geometry, projection, modelView);
        break;

    case RenderModeShaderRaster: {
        glUseProgram(materials.front().program ? materials.front().program->handle : 0);
        // Eye-space normals from the model-view as it stands: entities are only
        // turned, moved and scaled uniformly, so no inverse transpose is needed.
        const Mat3 normalMatrix = upperLeft(modelView);
        glUniformMatrix4fv(matteMvpLocation, 1, GL_FALSE, modelViewProjection.data());
        glUniformMatrix3fv(matteNormalMatrixLocation, 1, GL_FALSE, normalMatrix.m);
        glBindVertexArray(matteVertexArray);
        glDrawArrays(GL_TRIANGLES, 0, cornerCount);
        glBindVertexArray(0);
        glUseProgram(0);
        break;
    }

    case RenderModeHybrid: {
        glPushAttrib(kAllAttributeBits);
        const GLuint program = hybridProgram ? hybridProgram->handle : 0;
        glUseProgram(program);
        // World-space normals: the tracer gathers light in world space.
        const Mat3 normalMatrix = upperLeft(model);
        glUniformMatrix4fv(hybridMvpLocation, 1, GL_FALSE, modelViewProjection.data());
        glUniformMatrix4fv(hybridModelMatrixLocation, 1, GL_FALSE, model.data());
        glUniformMatrix3fv(hybridNormalMatrixLocation, 1, GL_FALSE, normalMatrix.m);
        const std::uint32_t texture = firstTriangleTexture(*geometry, materials);
        // Not among the locations the constructor keeps: looked up here, one
        // name lookup per entity in a pass that runs only when the scene moves.
        glUniform1i(glGetUniformLocation(program, "u_hasDiffuseTexture"), texture != 0 ? 1 : 0);
        glBindVertexArray(hybridVertexArray);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glDrawArrays(GL_TRIANGLES, 0, cornerCount);
        // Why: on a software rasteriser the calling thread transforms and bins every corner while the
        // raster threads wait for a flush (a frame of asteroids is about a million corners). Handing each
        // mesh over at once lets them shade it while this thread transforms the next. A flush changes no
        // fragment: each pixel still sees the same triangles in the same order.
        glFlush();
        glBindTexture(GL_TEXTURE_2D, 0);
        glBindVertexArray(0);
        glUseProgram(0);
        glPopAttrib();
        break;
    }

    default:
        break;
    }
}

} // namespace verdanium
