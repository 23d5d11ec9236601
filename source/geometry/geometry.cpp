#include "geometry/geometry.h"

#include "foundation/math/math_errors.h"
#include "foundation/resource_cache.h"

#include <GL/glew.h>

#include <cmath>
#include <initializer_list>
#include <iostream>
#include <stdexcept>

namespace verdanium {

// The arrays go to GL as they stand, so their elements must be tightly packed floats.
static_assert(sizeof(Vec3) == 3 * sizeof(float), "positions and normals are uploaded as packed floats");
static_assert(sizeof(TexCoord) == 2 * sizeof(float), "texture coordinates are uploaded as packed floats");

namespace {

// Element `index` of a reader array of `width` floats per element. The reader guarantees 0 <= index <= count
// and keeps element 0 zero, so a kind that a face did not give reads as zero; an array the file gave
// nothing for is null and reads as zero as well.
const float* readerElement(const float* array, uint32_t index, int width) {
    static const float zeros[3] = {0.0f, 0.0f, 0.0f};
    return array ? array + size_t(width) * index : zeros;
}

// Makes one buffer object holding `bytes` of `data`; no GL call and name 0 for an empty array.
uint32_t uploadArray(GLenum target, const void* data, size_t bytes, const char* failure) {
    if (bytes == 0)
        return 0;
    GLuint name = 0;
    glGenBuffers(1, &name);
    if (name == 0)
        throw std::runtime_error(failure);
    glBindBuffer(target, name);
    glBufferData(target, GLsizeiptr(bytes), data, GL_STATIC_DRAW);
    glBindBuffer(target, 0);
    return name;
}

template <typename Element>
size_t byteSize(const std::vector<Element>& array) {
    return array.size() * sizeof(Element);
}

} // namespace

Geometry::Geometry() = default;

Geometry::Geometry(const std::string& name) {
    ObjModel* model = glmReadOBJ(name.c_str());
    if (!model) {
        // The reader ends the program on an unreadable file; this is the second line of defence.
        std::cerr << "Failed to load \"" << name << "\".";
        return;
    }

    materials.assign(model->materials, model->materials + model->materialCount);

    triangleMaterials.reserve(model->triangleCount);
    positions.reserve(3 * size_t(model->triangleCount));
    normals.reserve(3 * size_t(model->triangleCount));
    texCoords.reserve(3 * size_t(model->triangleCount));

    // Newest group first, so the last group of the file comes first in the soup. All three index kinds are
    // used unconditionally: faces are meant to give vertex/texture coordinate/normal.
    for (const ObjGroup* group = model->groups; group; group = group->next) {
        for (uint32_t i = 0; i < group->triangleCount; ++i) {
            const ObjTriangle& triangle = model->triangles[group->triangles[i]];
            triangleMaterials.push_back(triangle.material);
            for (int corner = 0; corner < 3; ++corner) {
                const float* normal = readerElement(model->normals, triangle.normalIndices[corner], 3);
                const float* texCoord = readerElement(model->texCoords, triangle.texCoordIndices[corner], 2);
                const float* position = readerElement(model->vertices, triangle.vertexIndices[corner], 3);
                normals.push_back(Vec3{normal[0], normal[1], normal[2]});
                texCoords.push_back(TexCoord{texCoord[0], texCoord[1]});
                positions.push_back(Vec3{position[0], position[1], position[2]});
            }
        }
    }
    glmFreeModel(model);

    // Asteroids spin around their own origin; this makes that origin their middle. The text test alone
    // decides, in the directory part as well as the file name.
    if (name.find("asteroid") != std::string::npos)
        recentre();

    finish();
}

Geometry::~Geometry() {
    deleteBuffers();
}

std::shared_ptr<Geometry> Geometry::load(std::string name) {
    return gGeometryCache.load(std::move(name));
}

void Geometry::recentre() {
    // Corner records, so a vertex counts once for each triangle it belongs to.
    Vec3 sum;
    for (const Vec3& position : positions)
        sum += position;
    Vec3 mean = sum * reciprocal(float(positions.size()));
    for (Vec3& position : positions)
        position -= mean;
}

void Geometry::finish() {
    uploadBuffers();
    computeRadiusBounds();
    computeTightBounds();
    // A constructor that throws never runs the destructor, so a build that fails after the upload (an array
    // past its length limit) must release the buffers itself.
    try {
        buildAcceleration();
    } catch (...) {
        deleteBuffers();
        throw;
    }
}

void Geometry::uploadBuffers() {
    // Deletes whatever was made if a later buffer fails, so a failed construction leaks no GL names.
    struct Guard {
        Geometry* geometry;
        bool armed = true;
        ~Guard() {
            if (armed)
                geometry->deleteBuffers();
        }
    } guard{this};

    const char* attributesFailure = "failed to create a buffer object to store the attributes";
    positionBuffer = uploadArray(GL_ARRAY_BUFFER, positions.data(), byteSize(positions), attributesFailure);
    normalBuffer = uploadArray(GL_ARRAY_BUFFER, normals.data(), byteSize(normals), attributesFailure);
    texCoordBuffer = uploadArray(GL_ARRAY_BUFFER, texCoords.data(), byteSize(texCoords), attributesFailure);
    extraBuffer0 =
        uploadArray(GL_ARRAY_BUFFER, extraAttributes0.data(), byteSize(extraAttributes0), attributesFailure);
    extraBuffer1 =
        uploadArray(GL_ARRAY_BUFFER, extraAttributes1.data(), byteSize(extraAttributes1), attributesFailure);
    indexBuffer = uploadArray(GL_ELEMENT_ARRAY_BUFFER, indices.data(), byteSize(indices),
                              "failed to create a buffer object to store the indexes");
    guard.armed = false;
}

void Geometry::deleteBuffers() {
    // Only names that were made: a mesh without buffers may outlive, or never have had, a GL context.
    for (uint32_t* name :
         {&positionBuffer, &normalBuffer, &texCoordBuffer, &extraBuffer0, &extraBuffer1, &indexBuffer}) {
        if (*name != 0) {
            GLuint buffer = *name;
            glDeleteBuffers(1, &buffer);
            *name = 0;
        }
    }
}

void Geometry::computeRadiusBounds() {
    float radius = 0.0f;
    for (const Vec3& position : positions) {
        float distance =
            std::sqrt(position.x * position.x + position.y * position.y + position.z * position.z);
        if (distance > radius)
            radius = distance;
    }
    radiusBounds.lower = Vec3{-radius, -radius, -radius};
    radiusBounds.upper = Vec3{radius, radius, radius};
}

void Geometry::computeTightBounds() {
    if (positions.empty()) {
        tightBounds.lower = Vec3{};
        tightBounds.upper = Vec3{};
        return;
    }
    tightBounds.lower = positions.front();
    tightBounds.upper = positions.front();
    for (const Vec3& position : positions) {
        for (int axis = 0; axis < 3; ++axis) {
            if (position[axis] < tightBounds.lower[axis])
                tightBounds.lower[axis] = position[axis];
            if (position[axis] > tightBounds.upper[axis])
                tightBounds.upper[axis] = position[axis];
        }
    }
}

} // namespace verdanium
