#include "world/entity.h"

#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/vertex_attributes.h"

#include <GL/glew.h>

namespace verdanium {

Entity::Entity(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry_)
    : entityId(keyCounter), geometry(std::move(geometry_)) {
    hybridProgram = GlslProgram::load(kHybridProgramDirectory);
    materials = makeEntityMaterials(*geometry);

    // The matte program is shared through the cache, so every entity sets the
    // same two uniforms again; nothing else writes them.
    const GLuint matte = materials.front().program->handle;
    matteMvpLocation = glGetUniformLocation(matte, "u_modelViewProjectionMatrix");
    matteNormalMatrixLocation = glGetUniformLocation(matte, "u_normalMatrix");
    matteLightDirectionLocation = glGetUniformLocation(matte, "u_lightDirection");
    matteColorLocation = glGetUniformLocation(matte, "u_color");
    matteVertexAttribute = glGetAttribLocation(matte, "a_vertex");
    matteNormalAttribute = glGetAttribLocation(matte, "a_normal");
    glUseProgram(matte);
    glGenVertexArrays(1, &matteVertexArray);
    glBindVertexArray(matteVertexArray);
    attachFloatAttribute(geometry->positionBuffer, matteVertexAttribute, 3);
    attachFloatAttribute(geometry->normalBuffer, matteNormalAttribute, 3);
    glBindVertexArray(0);
    const float lightDirection[3] = {1.0f, 1.0f, 1.0f}; // deliberately not normalised here
    const float red[4] = {1.0f, 0.0f, 0.0f, 1.0f};
    glUniform3fv(matteLightDirectionLocation, 1, lightDirection);
    glUniform4fv(matteColorLocation, 1, red);
    glUseProgram(0);

    const GLuint hybrid = hybridProgram->handle;
    hybridMvpLocation = glGetUniformLocation(hybrid, "u_modelViewProjectionMatrix");
    hybridModelMatrixLocation = glGetUniformLocation(hybrid, "u_modelMatrix");
    hybridNormalMatrixLocation = glGetUniformLocation(hybrid, "u_normalMatrix");
    hybridVertexAttribute = glGetAttribLocation(hybrid, "a_vertex");
    hybridNormalAttribute = glGetAttribLocation(hybrid, "a_normal");
    hybridTexCoordAttribute = glGetAttribLocation(hybrid, "a_texCoord");
    glUseProgram(hybrid);
    glGenVertexArrays(1, &hybridVertexArray);
    glBindVertexArray(hybridVertexArray);
    attachFloatAttribute(geometry->positionBuffer, hybridVertexAttribute, 3);
    attachFloatAttribute(geometry->normalBuffer, hybridNormalAttribute, 3);
    attachFloatAttribute(geometry->texCoordBuffer, hybridTexCoordAttribute, 2);
    glBindVertexArray(0);
    glUseProgram(0);
}

Entity::~Entity() {
    glDeleteVertexArrays(1, &matteVertexArray);
    // hybridVertexArray is not deleted: see the header. The members then go in
    // reverse order: the hybrid program, the materials, the mesh.
}

void Entity::update(double) {}

} // namespace verdanium
