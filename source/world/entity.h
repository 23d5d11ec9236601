#pragma once

#include "foundation/math/transform.h"
#include "raster/material.h"
#include "tracer/renderer.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace verdanium {

class Geometry;
class GlslProgram;

// The unit of the scene: one mesh placed by one transform, ready to be drawn by
// the "matte" and "hybrid" programs, and able to advance itself by a time step.
// A plain Entity never moves by itself (the ship's rotors are plain entities);
// subclasses give update a motion law.
//
// Construction and destruction make GL calls: the context must be current.
class Entity {
public:
    // Copies the scene's key counter into entityId (advancing it is the caller's
    // business), takes the mesh, fills the material list and prepares one vertex
    // array per program.
    Entity(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry);
    // Deletes the "matte" vertex array only: the "hybrid" one is deliberately
    // left behind, one stray GL name per entity when a scene is rebuilt.
    virtual ~Entity();

    Entity(const Entity&) = delete;
    Entity& operator=(const Entity&) = delete;

    // Advances by `step` seconds. The base does nothing.
    virtual void update(double step);

    // Draws the mesh under view x transform. Fixed raster: immediate mode under
    // the caller's state, leaving GL_MODELVIEW current with this entity's
    // model-view. Shader raster: the "matte" program, red, eye-space normals.
    // Hybrid: the "hybrid" program with world-space positions and normals and
    // the texture of the first triangle's material. Any other mode is reported
    // on standard error and draws nothing. Main thread.
    void rasterize(RenderMode mode, const Mat4& projection, const Transform& view);

    // The key counter when this entity's base was constructed; differs from the
    // map key for the composite ship's parts.
    std::uint32_t entityId;
    // Object to world; the scene and the ship compose into it from outside.
    Transform transform;
    std::shared_ptr<Geometry> geometry;
    // One per MTL record of the mesh, in order; never empty.
    std::vector<Material> materials;

    // "matte" program (the first material's), for the shader raster mode.
    std::uint32_t matteVertexArray = 0;
    std::int32_t matteMvpLocation = 0;
    std::int32_t matteNormalMatrixLocation = 0;
    std::int32_t matteLightDirectionLocation = 0;
    std::int32_t matteColorLocation = 0;
    std::int32_t matteVertexAttribute = 0;
    std::int32_t matteNormalAttribute = 0;

    // "hybrid" program, for the off-screen pass of the hybrid mode.
    std::uint32_t hybridVertexArray = 0;
    std::shared_ptr<GlslProgram> hybridProgram;
    std::int32_t hybridMvpLocation = 0;
    std::int32_t hybridModelMatrixLocation = 0;
    std::int32_t hybridNormalMatrixLocation = 0;
    std::int32_t hybridVertexAttribute = 0;
    std::int32_t hybridNormalAttribute = 0;
    std::int32_t hybridTexCoordAttribute = 0;
};

inline constexpr const char* kHybridProgramDirectory = "..\\..\\..\\data\\materials\\hybrid";

} // namespace verdanium
