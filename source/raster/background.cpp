#include "raster/background.h"

#include "foundation/gl_error.h"
#include "geometry/geometry.h"
#include "geometry/ray.h"
#include "raster/cube_map.h"
#include "raster/glsl_program.h"
#include "raster/image.h"
#include "raster/vertex_attributes.h"

#include <GL/glew.h>

#include <iostream>

namespace verdanium {
namespace {

constexpr const char* kBackgroundProgramDirectory = "..\\..\\..\\data\\materials\\background";
constexpr float kBoxSize = 10.0f;

} // namespace

Background::Background(const std::string& path) {
    texture = Texture{Image::load(path), WrapRepeat};
    material.illumination = 0;
    material.program = GlslProgram::load(kBackgroundProgramDirectory);
    material.texture = texture;
    geometry = makeCube(kBoxSize);

    Image& image = *texture.image;
    if (image.width > 0 && image.height > 0 &&
        image.pixels.size() == static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height))
        texels_ = std::make_unique<StripTexels>(image);
    if (image.height != 6 * image.width) {
        std::cerr << "error: \"" << path << "\" is not a cube map: width=" << image.width
                  << ", height=" << image.height << "." << std::endl;
        return;
    }
    // A background made earlier on the same path deleted the shared image's
    // texture when it went; upload it again.
    if (image.textureId == 0)
        image.uploadTexture();

    const GLuint program = material.program->handle;
    modelViewProjectionLocation = glGetUniformLocation(program, "u_modelViewProjectionMatrix");
    backgroundSamplerLocation = glGetUniformLocation(program, "u_backgroundSampler");
    vertexAttribute = glGetAttribLocation(program, "a_vertex");
    texCoordAttribute = glGetAttribLocation(program, "a_texCoord");

    glUseProgram(program);
    glGenVertexArrays(1, &vertexArray);
    glBindVertexArray(vertexArray);
    attachFloatAttribute(geometry->positionBuffer, vertexAttribute, 3);
    attachFloatAttribute(geometry->texCoordBuffer, texCoordAttribute, 2);
    glBindVertexArray(0);
    glUniform1i(backgroundSamplerLocation, 0);
    glUseProgram(0);
    checkGlError("..\\source\\Background(62)");
}

Background::~Background() {
    if (texture.image)
        texture.image->deleteTexture();
}

// Both read the copy at the position that sampleTexture computes for the image, so they name the texel it
// names.
Vec3 Background::radiance(const Ray& ray) const {
    const StripCoordinates at = cubeMapStripCoordinates(ray.direction);
    if (!texels_)
        return sampleTexture(texture, at.u, at.v);
    const Image& image = *texture.image;
    return (*texels_)[texelIndex(texture.wrapMode, image.width, image.height, at.u, at.v)];
}

void Background::prefetchRadiance(const Vec3& direction) const {
    if (!texels_)
        return;
    const Image& image = *texture.image;
    const StripCoordinates at = cubeMapStripCoordinates(direction);
    texels_->prefetch(texelIndex(texture.wrapMode, image.width, image.height, at.u, at.v));
}

} // namespace verdanium
